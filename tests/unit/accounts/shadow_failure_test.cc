// The rewrite of /etc/shadow when its steps fail for real: a full file
// system, and a disk that refuses the sync.

#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tests/unit/accounts/account_test_env.hh"

namespace {
bool fail_fsync = false;
}

// Stands in for the C library's fsync in this binary, the daemon's code included.
extern "C" int fsync(int fd) {
    if (fail_fsync) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, fd));
}

namespace account_test {
namespace {

using ShadowFailureTest = AccountFilesTest;

// The rewrite fails with `why`; the file stays as it was, no work file is left.
void expect_failed_rewrite(const char* why) {
    write_file("/etc/shadow", "bob:old:1:\n");
    EXPECT_EQ(why, failure_of([] { login().rewrite_shadow_password("bob", "new"); }));
    EXPECT_EQ("bob:old:1:\n", read_file("/etc/shadow"));
    EXPECT_FALSE(file_exists("/etc/shadow+"));
}

TEST_F(ShadowFailureTest, RefusedSyncLeavesTheFileAsItWas) {
    fail_fsync = true;
    expect_failed_rewrite(strerror(EIO));
    fail_fsync = false;
}

TEST_F(ShadowFailureTest, FullFileSystemLeavesTheFileAsItWas) {
    login();  // built while /etc is still whole
    // A one-page /etc holding only the old file.
    ASSERT_EQ(0, mount("tmpfs", "/etc", "tmpfs", 0, "size=4k"));
    struct Unmount {
        ~Unmount() { umount2("/etc", MNT_DETACH); }
    } unmount;
    expect_failed_rewrite(strerror(ENOSPC));
}

}  // namespace
}  // namespace account_test
