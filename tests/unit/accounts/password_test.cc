// The two password operations, and the editor beside shadow-utils working
// on the same file at the same time.

#include "core/login_module.h"

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "tests/unit/accounts/account_test_env.hh"

namespace account_test {
namespace {

using PasswordTest = AccountFilesTest;

TEST_F(PasswordTest, RefusalsComeInOrderAndChangeNothing) {
    ASSERT_TRUE(shell("useradd -M -s /bin/false alice"));
    const std::string before = read_file("/etc/shadow");
    auto set = [](const std::string& user, const std::string& password) {
        return failure_of([&] {
            login().set_encrypted_password(user, password);
        });
    };
    EXPECT_EQ("User is an empty string", set("", ""));
    EXPECT_EQ("Password is an empty string", set("ghost", ""));
    EXPECT_EQ("Password must not contain ':'", set("ghost", "$6$a:b"));
    EXPECT_EQ("Password must not contain ':'", set("alice", "x:0:0:::::"));
    EXPECT_EQ("Password must not contain a newline",
              set("alice", "x\nroot"));
    EXPECT_EQ("Password must not contain a control character",
              set("alice", "x\ty"));
    EXPECT_EQ("Password must not contain a control character",
              set("alice", "x\x7f"));
    EXPECT_EQ("User ghost not exist", set("ghost", "$6$salt$hash"));
    EXPECT_EQ("User Alice not exist", set("Alice", "$6$salt$hash"));
    EXPECT_EQ(before, read_file("/etc/shadow"));
}

TEST_F(PasswordTest, SetReplacesTheFieldAndKeepsTheRest) {
    ASSERT_TRUE(shell("useradd -M -s /bin/false alice"));
    ASSERT_TRUE(shell("useradd -M -s /bin/false alicia"));
    const std::string before = read_file("/etc/shadow");
    const std::string hash = "$6$Xy.z/12$AbCdEfGh0123456789./";
    login().set_encrypted_password("alice", hash);
    EXPECT_EQ(hash, shadow_field("alice"));
    EXPECT_EQ("!", shadow_field("alicia"));

    // Put back the old field: the file is again what it was, byte for byte.
    login().set_encrypted_password("alice", "!");
    EXPECT_EQ(before, read_file("/etc/shadow"));
}

TEST_F(PasswordTest, UserWithoutAShadowLineLeavesTheFileAlone) {
    write_file("/etc/passwd", read_file("/etc/passwd") +
               "noline:x:7001:7001::/tmp/home/noline:/bin/false\n");
    const std::string before = read_file("/etc/shadow");
    login().set_encrypted_password("noline", "$6$salt$hash");
    EXPECT_EQ(before, read_file("/etc/shadow"));
}

TEST_F(PasswordTest, LockingNeedsSomeTextAndWritesAStar) {
    // The empty text is refused through the daemon (accounts_xrl_test.sh).
    ASSERT_TRUE(shell("useradd -M -s /bin/false -p '$6$s$h' alice"));
    EXPECT_EQ("User ghost not exist", failure_of([] {
        login().set_password_locked("ghost", "x");
    }));

    // The text itself goes nowhere, even one that could not be a field.
    login().set_password_locked("alice", "any:thing\n");
    EXPECT_EQ("*", shadow_field("alice"));
}

TEST_F(PasswordTest, ShadowUtilsAndTheEditorTogetherLoseNothing) {
    ASSERT_TRUE(shell("useradd -M -s /bin/false tooluser"));
    ASSERT_TRUE(shell("useradd -M -s /bin/false daemonuser"));
    const std::string before = read_file("/etc/shadow");
    const int rounds = 300;

    pid_t tool = fork();
    if (tool == 0) {
        execl("/bin/sh", "sh", "-c",
              "i=1; while [ $i -le 300 ]; do "
              "usermod -p tool$i tooluser || exit 1; i=$((i+1)); done",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    int failures = 0;
    for (int i = 1; i <= rounds; ++i) {
        try {
            login().set_encrypted_password("daemonuser",
                                           "daemon" + std::to_string(i));
        } catch (const LoginException& e) {
            ADD_FAILURE() << "round " << i << ": " << e.why();
            if (++failures > 3)
                break;
        }
    }
    int status = 0;
    ASSERT_EQ(tool, waitpid(tool, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "a usermod failed";

    EXPECT_EQ("tool300", shadow_field("tooluser"));
    EXPECT_EQ("daemon300", shadow_field("daemonuser"));
    EXPECT_FALSE(file_exists("/etc/shadow+"));
    // With both fields put back, every other byte is as it was.
    login().set_encrypted_password("tooluser", "!");
    login().set_encrypted_password("daemonuser", "!");
    EXPECT_EQ(before, read_file("/etc/shadow"));
}

}  // namespace
}  // namespace account_test
