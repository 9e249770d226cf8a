// The life of an account through the real tools: what runs for the default
// users, and after which command the error text is looked at.

#include "core/login_module.h"

#include <errno.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "tests/unit/accounts/account_test_env.hh"

namespace account_test {
namespace {

const char kJournal[] = "/var/log/sandbox/commands.log";

// The command lines given to the shell since the last call.
std::string take_commands() {
    std::string lines = read_file(kJournal);
    write_file(kJournal, "");
    return lines;
}

// The rebuild of an existing account, to read-only or to super-user.
std::string rebuild_lines(const std::string& user, bool super) {
    return "userdel -f " + user + "\naddgroup -q " + user + "\n"
           "useradd -d /tmp/home/" + user +
           " -l -s /usr/bin/velash_pty.sh " + (super ? "-G xorp " : "") +
           "-g " + user + " " + user + "\n";
}

class UserLifecycleTest : public AccountFilesTest {
protected:
    void SetUp() override {
        AccountFilesTest::SetUp();
        login();  // its constructor runs commands of its own
        take_commands();
    }
};

TEST_F(UserLifecycleTest, DefaultUsersEachHaveTheirOwnTreatment) {
    login().create_user("root", "super-user");
    login().set_user_class("root", "super-user");
    EXPECT_EQ("", take_commands()) << "root is never touched";

    const char* no_delete = "Can not delete default local user root, admin, operator.";
    // admin: made and rebuilt as anybody, but never read-only nor deleted.
    login().create_user("admin", "super-user");
    EXPECT_EQ("addgroup -q admin\n"
              "useradd -d /tmp/home/admin -l -m -s /usr/bin/velash_pty.sh -G xorp -g admin admin\n",
              take_commands());
    login().set_user_class("admin", "super-user");
    EXPECT_EQ(rebuild_lines("admin", true), take_commands());
    EXPECT_EQ("Default user root, admin should always be super-user. Please set the user class.",
              failure_of([] { login().set_user_class("admin", "read-only"); }));
    EXPECT_EQ("Default user root, admin should always be super-user. Please do not delete this.",
              failure_of([] { login().delete_user_class("admin", "super-user"); }));
    EXPECT_EQ(no_delete, failure_of([] { login().delete_user("admin", "super-user"); }));
    EXPECT_EQ("", take_commands());
    EXPECT_TRUE(login().is_user_in_xorp_group("admin"));

    // operator: may be moved, but not deleted. (Debian has a system group of
    // that name, which no account may take.)
    ASSERT_TRUE(shell("groupdel operator"));
    login().create_user("operator", "super-user");
    take_commands();
    login().set_user_class("operator", "read-only");
    EXPECT_EQ(rebuild_lines("operator", false), take_commands());
    EXPECT_FALSE(login().is_user_in_xorp_group("operator"));
    EXPECT_EQ(no_delete, failure_of([] { login().delete_user("operator", "read-only"); }));
    EXPECT_EQ("", take_commands());
    EXPECT_TRUE(login().user_exists("operator"));
}

// errno is not cleared before a tool runs, so a value left before the call
// fails the first check: the commands that ran show where the checks stand.
// Not so for super-user paths and rebuilds: their look-up of xorp clears errno.
TEST_F(UserLifecycleTest, MakeGroupIsCheckedAndTheDeletesAreNot) {
    ASSERT_TRUE(shell("useradd -M -s /bin/false alice"));
    take_commands();
    const std::string denied = strerror(EACCES);

    errno = EACCES;
    EXPECT_EQ(denied, failure_of([] { login().create_user("newbie", "read-only"); }));
    EXPECT_EQ("addgroup -q newbie\n", take_commands());
    EXPECT_FALSE(login().user_exists("newbie"));

    errno = EACCES;
    EXPECT_EQ(denied, failure_of([] { login().create_user("alice", "read-only"); }));
    EXPECT_EQ("userdel -f alice\naddgroup -q alice\n", take_commands());
    EXPECT_FALSE(login().user_exists("alice")) << "a failed create stays";

    // The group of that name is in place since the failed create.
    ASSERT_TRUE(shell("useradd -M -d /tmp/home/alice -s /bin/false -g alice alice"));
    take_commands();
    errno = EACCES;
    EXPECT_EQ("no exception", failure_of([] { login().delete_user("alice", "read-only"); }));
    EXPECT_EQ("userdel -fr alice\n", take_commands());
    EXPECT_FALSE(login().user_exists("alice"));
}

// The record of a move is root's alone whatever the mask (a liveness pass
// clears it), and goes at the end of the move.
TEST_F(UserLifecycleTest, ClassMoveRecord) {
    const std::string field = "$6$s$h";
    const mode_t mask = umask(0);
    login().save_class_move("mover", true, 1500, 1501, &field);
    umask(mask);
    struct stat st;
    ASSERT_EQ(0, stat("/etc/login-class-move", &st));
    EXPECT_EQ(0600u, st.st_mode & 07777);
    EXPECT_EQ(0u, st.st_uid);
    EXPECT_EQ("mover\nsuper-user\n1500 1501\nfield:$6$s$h\n", read_file("/etc/login-class-move"));
    EXPECT_NE(0, access("/etc/login-class-move+", F_OK));
    login().end_class_move();
    EXPECT_NE(0, access("/etc/login-class-move", F_OK));
}

// An addgroup that takes the shell away, so that only the command after it
// leaves an error behind.
class ShellTakenAwayTest : public UserLifecycleTest {
protected:
    void SetUp() override {
        UserLifecycleTest::SetUp();
        // Under qemu-user, posix_spawn's vfork runs as a fork: a shell that
        // cannot start is not reported to system(), so there is no error.
        pid_t pid;
        char* argv[] = {const_cast<char*>("none"), nullptr};
        if (posix_spawn(&pid, "/nonexistent", nullptr, nullptr, argv, environ) == 0) {
            waitpid(pid, nullptr, 0);
            GTEST_SKIP() << "a failed exec does not reach the caller here (emulator)";
        }
        ASSERT_TRUE(shell("mkdir -p /tmp/tools && printf '#!/bin/dash\\n"
                          "/bin/dash -c \"mv /bin/sh /bin/sh.away\"\\n' >/tmp/tools/addgroup"
                          " && chmod 755 /tmp/tools/addgroup"));
        setenv("PATH", ("/tmp/tools:" + _path).c_str(), 1);
    }
    void TearDown() override {
        give_back_the_shell();
        setenv("PATH", _path.c_str(), 1);
        UserLifecycleTest::TearDown();
    }
    void give_back_the_shell() { rename("/bin/sh.away", "/bin/sh"); }

    const std::string _path = getenv("PATH");
};

TEST_F(ShellTakenAwayTest, CreateIsChecked) {
    ASSERT_TRUE(shell("useradd -M -s /bin/false -p '$6$s$h' alice"));
    take_commands();
    errno = 0;
    std::string reason = failure_of([] { login().create_user("newbie", "read-only"); });
    give_back_the_shell();
    EXPECT_EQ(strerror(ENOENT), reason);
    EXPECT_EQ("addgroup -q newbie\n", take_commands());

    errno = 0;
    reason = failure_of([] { login().set_user_class("alice", "super-user"); });
    give_back_the_shell();
    EXPECT_EQ(strerror(ENOENT), reason);
    EXPECT_EQ("userdel -f alice\naddgroup -q alice\n", take_commands());
    EXPECT_EQ("<no line>", shadow_field("alice")) << "the password went along";
}

}  // namespace
}  // namespace account_test
