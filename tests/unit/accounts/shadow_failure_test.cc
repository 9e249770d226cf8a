// The rewrite of /etc/shadow when its steps fail for real: a full file
// system, and a disk that refuses the sync. The file stays as it was and no
// work file is left.

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

// Stands in for the C library's fsync in this binary, the daemon's code
// linked into it included.
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

std::string failed_rewrite() {
    return failure_of([] { login().rewrite_shadow_password("bob", "new"); });
}

TEST_F(ShadowFailureTest, RefusedSyncLeavesTheFileAsItWas) {
    write_file("/etc/shadow", "bob:old:1:\n");
    fail_fsync = true;
    const std::string why = failed_rewrite();
    fail_fsync = false;
    EXPECT_EQ(strerror(EIO), why);
    EXPECT_EQ("bob:old:1:\n", read_file("/etc/shadow"));
    EXPECT_FALSE(file_exists("/etc/shadow+"));
}

TEST_F(ShadowFailureTest, FullFileSystemLeavesTheFileAsItWas) {
    login();  // built while /etc is still whole
    // A one-page /etc holding only the old file.
    ASSERT_EQ(0, mount("tmpfs", "/etc", "tmpfs", 0, "size=4k"));
    struct Unmount {
        ~Unmount() { umount2("/etc", MNT_DETACH); }
    } unmount;
    write_file("/etc/shadow", "bob:old:1:\n");
    EXPECT_EQ(strerror(ENOSPC), failed_rewrite());
    EXPECT_EQ("bob:old:1:\n", read_file("/etc/shadow"));
    EXPECT_FALSE(file_exists("/etc/shadow+"));
}

}  // namespace
}  // namespace account_test
