// The editor of /etc/shadow on the real file: what a rewrite keeps and
// changes, its rights, its locks and the work file, and the read-back.

#include "core/login_module.h"

#include <fcntl.h>
#include <grp.h>
#include <shadow.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "tests/unit/accounts/account_test_env.hh"

namespace account_test {
namespace {

const char kShadow[] = "/etc/shadow";
const char kWork[] = "/etc/shadow+";

// A child process that holds a lock until it is killed: "record" the fcntl
// write lock on /etc/shadow, "pwdf" lckpwdf().
class LockHolder {
public:
    explicit LockHolder(const std::string& kind) {
        int ready[2];
        EXPECT_EQ(0, pipe(ready));
        if ((_pid = fork()) == 0) {
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            bool held = kind == "record" ? fcntl(open(kShadow, O_RDWR), F_SETLK, &lock) == 0
                                         : lckpwdf() == 0;
            if (write(ready[1], held ? "y" : "n", 1) == 1)
                pause();
            _exit(1);
        }
        close(ready[1]);
        char answer = 'n';
        _held = read(ready[0], &answer, 1) == 1 && answer == 'y';
        close(ready[0]);
    }
    ~LockHolder() {
        if (_pid > 0 && kill(_pid, SIGKILL) == 0)
            waitpid(_pid, nullptr, 0);
    }
    bool held() const { return _held; }

private:
    pid_t _pid;
    bool  _held;
};

using ShadowFileTest = AccountFilesTest;

TEST_F(ShadowFileTest, RewriteChangesOnlyTheFieldOfTheUsersLinesAndKeepsModeAndOwner) {
    const std::string long_rest(6000, '7');
    const std::string long_other = "zed:" + std::string(9000, 'z') + ":\n";
    const struct { std::string before, field, after; } cases[] = {
        {"bobby:keep:1::\nbob:old:1:2:3:4:5:6:\nbo:x:\n", "new",
         "bobby:keep:1::\nbob:new:1:2:3:4:5:6:\nbo:x:\n"},
        {"bob:old\n", "new", "bob:new\n"},
        {"bob:\n", "new", "bob:new\n"},
        {"bob:first:1\nann:a:\nbob:second:2\n", "new", "bob:new:1\nann:a:\nbob:new:2\n"},
        {"bob:old:1:\n", "", "bob::1:\n"},
        {"a:1:\n\nbob:old:\nz:9", "new", "a:1:\n\nbob:new:\nz:9\n"},
        {"", "new", ""},
        {"ann:a:\n", "new", "ann:a:\n"},
        {long_other + "bob:" + std::string(5000, 'o') + ":" + long_rest + "\n", "new",
         long_other + "bob:new:" + long_rest + "\n"},
    };
    // Neither the usual mode nor the work file's: the new file must take it over.
    const struct group* shadow_group = getgrnam("shadow");
    ASSERT_NE(nullptr, shadow_group);
    ASSERT_EQ(0, chown(kShadow, 0, shadow_group->gr_gid));
    ASSERT_EQ(0, chmod(kShadow, 0444));
    for (const auto& c : cases) {
        write_file(kShadow, c.before);
        login().rewrite_shadow_password("bob", c.field);
        EXPECT_EQ(c.after, read_file(kShadow)) << c.before.substr(0, 40);
        EXPECT_FALSE(file_exists(kWork));
        struct stat st;
        ASSERT_EQ(0, stat(kShadow, &st));
        EXPECT_EQ(0444u, st.st_mode & 07777);
        EXPECT_EQ(shadow_group->gr_gid, st.st_gid);
    }
}

TEST_F(ShadowFileTest, StructureBreakingFieldIsRefusedBeforeAnyChange) {
    write_file(kShadow, "bob:old:1:\n");
    const struct { std::string field, why; } cases[] = {
        {"a:b", "Password must not contain ':'"},
        {"a\nevil", "Password must not contain a newline"},
        {std::string("a\0b", 3), "Password must not contain a control character"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.why, failure_of([&] { login().rewrite_shadow_password("bob", c.field); }));
    }
    EXPECT_EQ("bob:old:1:\n", read_file(kShadow));
    EXPECT_FALSE(file_exists(kWork));
}

// The refused rewrite under the password-files lock is checked through the
// daemon (switch_users_test.sh).
TEST_F(ShadowFileTest, LocksOfAnotherProcessFailTheCallAndChangeNothing) {
    write_file(kShadow, "bob:old:1:\n");
    std::string field = "untouched";
    {
        LockHolder holder("record");
        ASSERT_TRUE(holder.held());
        const std::string refused = std::string("Can't lock /etc/shadow, ") + strerror(EAGAIN);
        EXPECT_EQ(refused, failure_of([] { login().rewrite_shadow_password("bob", "new"); }));
        EXPECT_EQ(refused, failure_of([&] { login().read_shadow_password("bob", field); }));
    }
    {
        LockHolder holder("pwdf");
        ASSERT_TRUE(holder.held());
        EXPECT_EQ("Can't lock the password files, another program holds them",
                  failure_of([&] { login().read_shadow_password("bob", field); }));
    }
    EXPECT_EQ("untouched", field);
    EXPECT_EQ("bob:old:1:\n", read_file(kShadow));
    EXPECT_FALSE(file_exists(kWork));
}

TEST_F(ShadowFileTest, WorkFileInTheWayIsWaitedForAndRemovedAfterThirtyTries) {
    write_file(kShadow, "bob:old:1:\n");
    write_file(kWork, "another editor at work\n");
    pid_t editor = fork();
    if (editor == 0) {
        usleep(300000);  // well inside the three seconds of tries
        unlink(kWork);
        _exit(0);
    }
    login().rewrite_shadow_password("bob", "new");
    waitpid(editor, nullptr, 0);
    EXPECT_EQ("bob:new:1:\n", read_file(kShadow));

    write_file(kWork, "left by a process that died\n");
    EXPECT_EQ("Work file /etc/shadow+ was in the way for 30 tries and has been removed",
              failure_of([] { login().rewrite_shadow_password("bob", "x"); }));
    EXPECT_FALSE(file_exists(kWork));
    EXPECT_EQ("bob:new:1:\n", read_file(kShadow));
}

TEST_F(ShadowFileTest, ReadBackGivesTheFieldOfTheLastMatchingLine) {
    const struct { std::string content, field; } cases[] = {
        {"bobby:x:\nbob:$6$salt$hash:1:\n", "$6$salt$hash"},
        {"bob:first:1\nbob:second:2\n", "second"},
        {"bob::1:\n", ""},
        {"bob:", ""},
        {"bob:old", "old"},
        {"bob:old\n", "old"},
        {"bobby:x:1:\nann:y:\n", "as given"},  // no line: the caller's string stays
        {"", "as given"},
    };
    for (const auto& c : cases) {
        write_file(kShadow, c.content);
        std::string field = "as given";
        login().read_shadow_password("bob", field);
        EXPECT_EQ(c.field, field) << c.content;
        EXPECT_EQ(c.content, read_file(kShadow));
    }
}

}  // namespace
}  // namespace account_test
