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
    const struct { bool lock; std::string user, password, why; } cases[] = {
        {false, "", "", "User is an empty string"},
        {false, "ghost", "", "Password is an empty string"},
        {false, "ghost", "$6$a:b", "Password must not contain ':'"},
        {false, "alice", "x\nroot", "Password must not contain a newline"},
        {false, "alice", "x\ty", "Password must not contain a control character"},
        {false, "alice", "x\x7f", "Password must not contain a control character"},
        {false, "ghost", "$6$salt$hash", "User ghost not exist"},
        {false, "Alice", "$6$salt$hash", "User Alice not exist"},
        {true, "ghost", "x", "User ghost not exist"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.why, failure_of([&] {
            if (c.lock)
                login().set_password_locked(c.user, c.password);
            else
                login().set_encrypted_password(c.user, c.password);
        })) << c.user << " " << c.password;
    }
    EXPECT_EQ(before, read_file("/etc/shadow"));

    // The text of a lock goes nowhere, even one that could not be a field.
    login().set_password_locked("alice", "any:thing\n");
    EXPECT_EQ("*", shadow_field("alice"));
}

TEST_F(PasswordTest, ShadowUtilsAndTheEditorTogetherLoseNothing) {
    ASSERT_TRUE(shell("useradd -M -s /bin/false tooluser"));
    ASSERT_TRUE(shell("useradd -M -s /bin/false daemonuser"));
    const std::string before = read_file("/etc/shadow");

    pid_t tool = fork();
    if (tool == 0) {
        execl("/bin/sh", "sh", "-c",
              "i=1; while [ $i -le 300 ]; do "
              "usermod -p tool$i tooluser || exit 1; i=$((i+1)); done",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    int failures = 0;
    for (int i = 1; i <= 300 && failures <= 3; ++i) {
        std::string why = failure_of([i] {
            login().set_encrypted_password("daemonuser", "daemon" + std::to_string(i));
        });
        if (why != "no exception") {
            ADD_FAILURE() << "round " << i << ": " << why;
            ++failures;
        }
    }
    int status = 0;
    ASSERT_EQ(tool, waitpid(tool, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a usermod failed";

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
