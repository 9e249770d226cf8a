// Each way a local user could turn a write of the daemon elsewhere is
// refused; a good file comes out 0644 whatever the mask.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "core/safe_file.hh"

namespace {

TEST(SafeFileTest, RefusesWhatAnotherUserCouldRedirect)
{
    char temp[] = "/tmp/safe_file_test.XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(temp));
    const std::string dir = temp;
    const bool root = geteuid() == 0;
    ASSERT_EQ(0, system(("cd " + dir + " && chmod 755 . && mkdir -m 755 good theirs"
        " && mkdir -m 775 group && mkdir -m 777 open && mkdir -m 1777 sticky"
        " && mkdir -m 755 sticky/below && echo secret >victim && chmod 600 victim"
        " && echo old >good/old && chmod 666 good/old && ln -s ../victim good/link"
        " && ln -s good linked && ln victim good/hard && mkfifo good/fifo"
        " && echo x >good/theirs" + (root ? " && chown nobody theirs good/theirs" : "")).c_str()));
    const int w = O_WRONLY | O_CREAT | O_TRUNC;
    const struct { const char* path; int flags; int error; } cases[] = {
        {"good/new", w, 0}, {"good/old", w, 0}, {"sticky/below/new", w, 0},
        {"good/link", w, ELOOP}, {"linked/new", w, ELOOP}, {"good/hard", w, EPERM},
        {"group/new", w, EPERM}, {"open/new", w, EPERM}, {"sticky/new", w, EPERM},
        {"good/fifo", O_RDWR | O_CREAT, EINVAL}, {"good/fifo", w, ENXIO},  // never waits
        {"missing/new", w, ENOENT},
        {"theirs/new", w, root ? EPERM : 0}, {"good/theirs", w, root ? EPERM : 0},
    };
    mode_t mask = umask(0);
    for (const auto& c : cases) {
        errno = EIO;
        int fd = open_safe_file((dir + "/" + c.path).c_str(), c.flags, 0644);
        int error = errno;
        if (c.error != 0) {
            EXPECT_EQ(-1, fd) << c.path;
            EXPECT_EQ(c.error, error) << c.path;
            continue;
        }
        ASSERT_GE(fd, 0) << c.path << ": " << strerror(error);
        EXPECT_EQ(EIO, error) << c.path;   // errno kept on success
        EXPECT_EQ(1, write(fd, "x", 1));
        struct stat st;
        ASSERT_EQ(0, fstat(fd, &st));
        EXPECT_EQ(0644u, st.st_mode & 07777) << c.path;
        EXPECT_EQ(1, st.st_size) << c.path;   // cut, or made afresh
        EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
        close(fd);
    }
    umask(mask);
    struct stat st;
    ASSERT_EQ(0, stat((dir + "/victim").c_str(), &st));
    EXPECT_EQ(7, st.st_size);   // neither link cut it
    EXPECT_EQ(0, system(("rm -rf " + dir).c_str()));
}

}  // namespace
