// The opener of the files the daemon writes as root: each way a local user
// could turn such a write elsewhere is refused, and a good file comes out
// readable by all and writable by its owner only.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "core/safe_file.hh"

namespace {

using std::string;

class SafeFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char dir[] = "/tmp/safe_file_test.XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(dir));
        _dir = dir;
        ASSERT_EQ(0, chmod(dir, 0755));
        _old_mask = umask(0);   // the mask must not matter
    }
    void TearDown() override
    {
        umask(_old_mask);
        ASSERT_EQ(0, system(("rm -rf " + _dir).c_str()));
    }
    string at(const string& name) const { return _dir + "/" + name; }
    // Makes the folder `name` with `mode`.
    void folder(const string& name, mode_t mode)
    {
        ASSERT_EQ(0, mkdir(at(name).c_str(), 0700));
        ASSERT_EQ(0, chmod(at(name).c_str(), mode));
    }
    void file(const string& name, const string& text, mode_t mode)
    {
        int fd = open(at(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(ssize_t(text.size()), write(fd, text.data(), text.size()));
        ASSERT_EQ(0, fchmod(fd, mode));
        close(fd);
    }

    string _dir;
    mode_t _old_mask = 022;
};

TEST_F(SafeFileTest, RefusesWhatAnotherUserCouldRedirect)
{
    const bool root = geteuid() == 0;
    folder("good", 0755);
    folder("group", 0775);
    folder("open", 0777);
    folder("sticky", 01777);
    folder("sticky/below", 0755);
    folder("theirs", 0755);
    file("victim", "secret", 0600);
    file("good/old", "old text", 0666);
    ASSERT_EQ(0, symlink(at("victim").c_str(), at("good/link").c_str()));
    ASSERT_EQ(0, symlink(at("good").c_str(), at("linked").c_str()));
    ASSERT_EQ(0, link(at("victim").c_str(), at("good/hard").c_str()));
    ASSERT_EQ(0, mkfifo(at("good/fifo").c_str(), 0600));
    if (root) {
        ASSERT_EQ(0, chown(at("theirs").c_str(), 65534, 65534));
        file("good/their_file", "x", 0644);
        ASSERT_EQ(0, chown(at("good/their_file").c_str(), 65534, 65534));
    }

    const struct { const char* path; int flags; int error; bool as_root; } cases[] = {
        {"good/new", O_WRONLY | O_CREAT | O_TRUNC, 0, false},
        {"good/old", O_WRONLY | O_CREAT | O_TRUNC, 0, false},
        {"sticky/below/new", O_WRONLY | O_CREAT, 0, false},
        {"good/link", O_WRONLY | O_CREAT | O_TRUNC, ELOOP, false},
        {"linked/new", O_WRONLY | O_CREAT | O_TRUNC, ELOOP, false},
        {"good/hard", O_WRONLY | O_CREAT | O_TRUNC, EPERM, false},
        {"group/new", O_WRONLY | O_CREAT | O_TRUNC, EPERM, false},
        {"open/new", O_WRONLY | O_CREAT | O_TRUNC, EPERM, false},
        {"sticky/new", O_WRONLY | O_CREAT | O_TRUNC, EPERM, false},
        {"good/fifo", O_RDWR | O_CREAT | O_TRUNC, EINVAL, false},
        {"good/fifo", O_WRONLY | O_CREAT | O_TRUNC, ENXIO, false},  // no reader: never waits
        {"missing/new", O_WRONLY | O_CREAT | O_TRUNC, ENOENT, false},
        {"theirs/new", O_WRONLY | O_CREAT | O_TRUNC, EPERM, true},
        {"good/their_file", O_WRONLY | O_CREAT | O_TRUNC, EPERM, true},
    };
    for (const auto& c : cases) {
        if (c.as_root && !root)
            continue;
        errno = EIO;
        int fd = open_safe_file(at(c.path).c_str(), c.flags, 0644);
        int error = errno;
        if (c.error != 0) {
            EXPECT_EQ(-1, fd) << c.path;
            EXPECT_EQ(c.error, error) << c.path;
            continue;
        }
        ASSERT_GE(fd, 0) << c.path << ": " << strerror(error);
        EXPECT_EQ(EIO, error) << c.path << ": errno changed on success";
        EXPECT_EQ(1, write(fd, "x", 1));
        struct stat st;
        ASSERT_EQ(0, fstat(fd, &st));
        EXPECT_EQ(0644u, st.st_mode & 07777) << c.path;
        EXPECT_EQ(1, st.st_size) << c.path;   // truncated, or made afresh
        EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
        close(fd);
    }
    struct stat st;
    ASSERT_EQ(0, stat(at("victim").c_str(), &st));
    EXPECT_EQ(6, st.st_size);   // neither the link nor the hard link cut it
    EXPECT_EQ(0600u, st.st_mode & 07777);
}

TEST_F(SafeFileTest, LockHeldByAnotherProcessIsNotWaitedForWithoutEnd)
{
    int fd = open_safe_file(at("locked").c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    int ready[2], release[2];
    ASSERT_EQ(0, pipe(ready));
    ASSERT_EQ(0, pipe(release));
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        char c = lock_whole_file(fd, 1) ? 'y' : 'n';
        (void)!write(ready[1], &c, 1);
        (void)!read(release[0], &c, 1);
        _exit(0);
    }
    char c = 0;
    ASSERT_EQ(1, read(ready[0], &c, 1));
    ASSERT_EQ('y', c);
    EXPECT_FALSE(lock_whole_file(fd, 2));
    EXPECT_TRUE(errno == EAGAIN || errno == EACCES) << strerror(errno);
    ASSERT_EQ(1, write(release[1], "x", 1));
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    errno = EIO;
    EXPECT_TRUE(lock_whole_file(fd, 1));   // gone with its holder
    EXPECT_EQ(EIO, errno);
    EXPECT_TRUE(unlock_whole_file(fd));
    for (int p : {ready[0], ready[1], release[0], release[1], fd})
        close(p);
}

}  // namespace
