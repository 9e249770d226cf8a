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
#include <filesystem>
#include <iterator>
#include <string>

#include "tests/unit/accounts/account_test_env.hh"

namespace account_test {
namespace {

const char kShadow[] = "/etc/shadow";
const char kWork[] = "/etc/shadow+";

using ShadowRewriteTest = AccountFilesTest;

// Content of /etc/shadow after rewriting `user` to `field` in `before`.
std::string rewritten(const std::string& before, const std::string& user,
                      const std::string& field) {
    write_file(kShadow, before);
    login().rewrite_shadow_password(user, field);
    EXPECT_FALSE(file_exists(kWork));
    return read_file(kShadow);
}

TEST_F(ShadowRewriteTest, OnlyTheFieldOfTheUsersLinesChanges) {
    EXPECT_EQ("bobby:keep:1::\nbob:new:1:2:3:4:5:6:\nbo:x:\n",
              rewritten("bobby:keep:1::\nbob:old:1:2:3:4:5:6:\nbo:x:\n",
                        "bob", "new"));
    EXPECT_EQ("bob:new\n", rewritten("bob:old\n", "bob", "new"));
    EXPECT_EQ("bob:new\n", rewritten("bob:\n", "bob", "new"));
    EXPECT_EQ("bob:new:1\nann:a:\nbob:new:2\n",
              rewritten("bob:first:1\nann:a:\nbob:second:2\n", "bob", "new"));
    // The empty field is a field like any other.
    EXPECT_EQ("bob::1:\n", rewritten("bob:old:1:\n", "bob", ""));
}

TEST_F(ShadowRewriteTest, LinesEndInNewlineAndOtherwiseComeThroughWhole) {
    EXPECT_EQ("a:1:\n\nbob:new:\nz:9\n",
              rewritten("a:1:\n\nbob:old:\nz:9", "bob", "new"));
    EXPECT_EQ("", rewritten("", "bob", "new"));
    EXPECT_EQ("ann:a:\n", rewritten("ann:a:\n", "bob", "new"));

    const std::string long_rest(6000, '7');
    const std::string long_other = "zed:" + std::string(9000, 'z') + ":\n";
    EXPECT_EQ(long_other + "bob:new:" + long_rest + "\n",
              rewritten(long_other + "bob:" + std::string(5000, 'o') + ":" +
                        long_rest + "\n", "bob", "new"));
}

TEST_F(ShadowRewriteTest, ModeAndOwnerOfTheFileAreKept) {
    struct group* shadow_group = getgrnam("shadow");
    ASSERT_NE(nullptr, shadow_group);
    const gid_t shadow_gid = shadow_group->gr_gid;

    for (mode_t mode : {mode_t(0640), mode_t(0600), mode_t(0444)}) {
        write_file(kShadow, "bob:old:1:\n");
        ASSERT_EQ(0, chown(kShadow, 0, shadow_gid));
        ASSERT_EQ(0, chmod(kShadow, mode));
        login().rewrite_shadow_password("bob", "new");
        struct stat st;
        ASSERT_EQ(0, stat(kShadow, &st));
        EXPECT_EQ(mode, st.st_mode & 07777) << std::oct << mode;
        EXPECT_EQ(shadow_gid, st.st_gid);
        EXPECT_EQ(0u, st.st_uid);
        EXPECT_EQ("bob:new:1:\n", read_file(kShadow));
    }
}

TEST_F(ShadowRewriteTest, StructureBreakingFieldIsRefusedBeforeAnyChange) {
    const std::string before = "bob:old:1:\n";
    write_file(kShadow, before);
    const struct { std::string field, why; } cases[] = {
        {"a:b", "Password must not contain ':'"},
        {"a\nevil", "Password must not contain a newline"},
        {std::string("a\0b", 3), "Password must not contain a control character"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.why, failure_of([&] {
            login().rewrite_shadow_password("bob", c.field);
        }));
    }
    EXPECT_EQ(before, read_file(kShadow));
    EXPECT_FALSE(file_exists(kWork));
}

// A child process that holds a lock until it is killed.
class LockHolder {
public:
    // kind "record": fcntl write lock on /etc/shadow; "pwdf": lckpwdf().
    explicit LockHolder(const std::string& kind) {
        int ready[2];
        if (pipe(ready) != 0)
            return;
        _pid = fork();
        if (_pid == 0) {
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            int fd = kind == "record" ? open(kShadow, O_RDWR) : -1;
            bool held = kind == "record" ? fd >= 0 && fcntl(fd, F_SETLK, &lock) == 0
                                         : lckpwdf() == 0;
            if (write(ready[1], held ? "y" : "n", 1) != 1)
                _exit(1);
            for (;;)
                pause();
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
    pid_t _pid = -1;
    bool  _held = false;
};

TEST_F(ShadowRewriteTest, RecordLockOfAnotherProcessFailsTheCallAtOnce) {
    const std::string before = "bob:old:1:\n";
    write_file(kShadow, before);
    LockHolder holder("record");
    ASSERT_TRUE(holder.held());

    const std::string refused =
        std::string("Can't lock /etc/shadow, ") + strerror(EAGAIN);
    EXPECT_EQ(refused, failure_of([] {
        login().rewrite_shadow_password("bob", "new");
    }));
    EXPECT_FALSE(file_exists(kWork));
    EXPECT_EQ(before, read_file(kShadow));

    std::string field = "untouched";
    EXPECT_EQ(refused, failure_of([&] {
        login().read_shadow_password("bob", field);
    }));
    EXPECT_EQ("untouched", field);
}

// The refused rewrite is checked through the daemon (switch_users_test.sh);
// the read-back of a rebuild must not see a half-done edit either.
TEST_F(ShadowRewriteTest, PasswordFilesLockedByAnotherProgramStopTheReadBack) {
    write_file(kShadow, "bob:old:1:\n");
    LockHolder holder("pwdf");
    ASSERT_TRUE(holder.held());
    std::string field = "untouched";
    EXPECT_EQ("Can't lock the password files, another program holds them",
              failure_of([&] { login().read_shadow_password("bob", field); }));
    EXPECT_EQ("untouched", field);
}

long open_descriptors() {
    std::filesystem::directory_iterator fds("/proc/self/fd");
    return std::distance(begin(fds), end(fds));
}

TEST_F(ShadowRewriteTest, NoDescriptorOrLockOutlivesACall) {
    write_file(kShadow, "bob:old:1:\n");
    const long before = open_descriptors();
    std::string field;

    login().rewrite_shadow_password("bob", "new");
    login().read_shadow_password("bob", field);
    EXPECT_EQ(before, open_descriptors()) << "after success";

    failure_of([] { login().rewrite_shadow_password("bob", "a:b"); });
    {
        LockHolder holder("record");
        ASSERT_TRUE(holder.held());
        failure_of([] { login().rewrite_shadow_password("bob", "x"); });
        failure_of([&] { login().read_shadow_password("bob", field); });
    }
    EXPECT_EQ(before, open_descriptors()) << "after a refused record lock";

    write_file(kWork, "left behind\n");
    failure_of([] { login().rewrite_shadow_password("bob", "x"); });
    EXPECT_EQ(before, open_descriptors()) << "after the work file was in the way";

    // Our own locks are gone: another process gets both at once.
    LockHolder record("record");
    EXPECT_TRUE(record.held());
    LockHolder password_files("pwdf");
    EXPECT_TRUE(password_files.held());
}

TEST_F(ShadowRewriteTest, LeftOverWorkFileIsRemovedAfterThirtyTries) {
    const std::string before = "bob:old:1:\n";
    write_file(kShadow, before);
    write_file(kWork, "left by a process that died\n");

    EXPECT_EQ("Work file /etc/shadow+ was in the way for 30 tries and has "
              "been removed",
              failure_of([] { login().rewrite_shadow_password("bob", "new"); }));
    EXPECT_FALSE(file_exists(kWork));
    EXPECT_EQ(before, read_file(kShadow));

    // The next call finds the way clear.
    login().rewrite_shadow_password("bob", "new");
    EXPECT_EQ("bob:new:1:\n", read_file(kShadow));
}

TEST_F(ShadowRewriteTest, WorkFileThatGoesAwayDuringTheTriesIsWaitedFor) {
    write_file(kShadow, "bob:old:1:\n");
    write_file(kWork, "another editor at work\n");
    pid_t editor = fork();
    if (editor == 0) {
        usleep(300000);  // well inside the three seconds of tries
        unlink(kWork);
        _exit(0);
    }
    login().rewrite_shadow_password("bob", "new");
    int status;
    waitpid(editor, &status, 0);
    EXPECT_EQ("bob:new:1:\n", read_file(kShadow));
    EXPECT_FALSE(file_exists(kWork));
}

using ShadowReadBackTest = AccountFilesTest;

std::string read_back(const std::string& content, const std::string& user) {
    write_file(kShadow, content);
    std::string field = "as given";
    login().read_shadow_password(user, field);
    EXPECT_EQ(content, read_file(kShadow));
    return field;
}

TEST_F(ShadowReadBackTest, FieldOfTheLastMatchingLine) {
    EXPECT_EQ("$6$salt$hash", read_back("bobby:x:\nbob:$6$salt$hash:1:\n",
                                        "bob"));
    EXPECT_EQ("second", read_back("bob:first:1\nbob:second:2\n", "bob"));
    EXPECT_EQ("*", read_back("bob:*:1:\n", "bob"));
    EXPECT_EQ("", read_back("bob::1:\n", "bob"));
    EXPECT_EQ("", read_back("bob:", "bob"));
    EXPECT_EQ("old", read_back("bob:old", "bob"));
    EXPECT_EQ("old", read_back("bob:old\n", "bob"));
}

TEST_F(ShadowReadBackTest, NoLineLeavesTheCallersString) {
    EXPECT_EQ("as given", read_back("bobby:x:1:\nann:y:\n", "bob"));
    EXPECT_EQ("as given", read_back("", "bob"));
}

}  // namespace
}  // namespace account_test
