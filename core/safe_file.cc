#include "core/safe_file.hh"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace {

const useconds_t kTryPause = 100000;

bool trusted_owner(uid_t uid)
{
    return uid == 0 || uid == geteuid();
}

// The file's own directory must be closed to others. One above it may be
// world-writable if sticky (as /tmp): nobody else can then replace or
// rename what root made in it.
bool safe_directory(int dir, bool own)
{
    struct stat st;
    if (fstat(dir, &st) != 0 || !trusted_owner(st.st_uid))
        return false;
    if ((st.st_mode & (S_IWGRP | S_IWOTH)) == 0)
        return true;
    return !own && (st.st_mode & S_ISVTX) != 0;
}

// Opens the directory that holds `path`, checked on every step; `name` is
// set to the file's own name. -1 with errno set when refused.
int open_parent(const char* path, std::string& name)
{
    if (path[0] != '/') {
        errno = EINVAL;
        return -1;
    }
    std::string rest = path + 1;
    int dir = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (;;) {
        size_t slash = rest.find('/');
        if (dir < 0)
            return -1;
        if (!safe_directory(dir, slash == std::string::npos)) {
            close(dir);
            errno = EPERM;
            return -1;
        }
        if (slash == std::string::npos)
            break;
        std::string step = rest.substr(0, slash);
        rest.erase(0, slash + 1);
        if (step.empty())
            continue;
        int next = openat(dir, step.c_str(),
                          O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        int error = errno;
        struct stat st;
        // A link to a directory gives ENOTDIR here; call it what it is.
        if (next < 0 && error == ENOTDIR
            && fstatat(dir, step.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0
            && S_ISLNK(st.st_mode))
            error = ELOOP;
        close(dir);
        errno = error;
        dir = next;
    }
    name = rest;
    return dir;
}

// Opens `name` in `dir`, creating it only where nothing is; never follows a
// link, and never blocks on a fifo.
int open_in(int dir, const std::string& name, int flags, mode_t mode,
            bool& created)
{
    const int base = (flags & ~(O_CREAT | O_EXCL | O_TRUNC)) | O_NOFOLLOW
        | O_CLOEXEC | O_NONBLOCK;
    created = false;
    if (flags & O_CREAT) {
        int fd = openat(dir, name.c_str(), base | O_CREAT | O_EXCL, mode);
        if (fd >= 0 || errno != EEXIST) {
            created = fd >= 0;
            return fd;
        }
    }
    return openat(dir, name.c_str(), base);
}

// Refuses what the daemon must not write, and fixes mode and owner.
bool make_safe(int fd, bool created, mode_t mode)
{
    struct stat st;
    if (fstat(fd, &st) != 0)
        return false;
    if (!S_ISREG(st.st_mode)) {
        errno = EINVAL;
        return false;
    }
    if (created)
        return fchown(fd, geteuid(), getegid()) == 0 && fchmod(fd, mode) == 0;
    if (!trusted_owner(st.st_uid) || st.st_nlink != 1) {
        errno = EPERM;
        return false;
    }
    if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return fchmod(fd, st.st_mode & 07777 & ~(S_IWGRP | S_IWOTH)) == 0;
    return true;
}

int set_whole_file_lock(int fd, short type)
{
    struct flock lock;
    memset(&lock, 0, sizeof(lock));
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLK, &lock);
}

}  // namespace

int
open_safe_file(const char* path, int flags, mode_t mode)
{
    const int saved_errno = errno;
    std::string name;
    int dir = open_parent(path, name);
    if (dir < 0)
        return -1;
    bool created = false;
    int fd = open_in(dir, name, flags, mode, created);
    int error = errno;
    close(dir);
    if (fd < 0) {
        errno = error;
        return -1;
    }
    int status = fcntl(fd, F_GETFL);
    if (!make_safe(fd, created, mode) || status == -1
        || fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != 0
        || ((flags & O_TRUNC) != 0 && ftruncate(fd, 0) != 0)) {
        error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    errno = saved_errno;
    return fd;
}

FILE*
fopen_safe_file(const char* path, const char* mode)
{
    int flags = O_WRONLY | O_CREAT | O_TRUNC;
    if (mode[0] == 'a')
        flags = O_WRONLY | O_CREAT | O_APPEND;
    else if (strchr(mode, '+') != nullptr)
        flags = O_RDWR | O_CREAT | O_TRUNC;
    int fd = open_safe_file(path, flags, 0644);
    if (fd < 0)
        return nullptr;
    FILE* file = fdopen(fd, mode);
    if (file == nullptr) {
        int error = errno;
        close(fd);
        errno = error;
    }
    return file;
}

bool
lock_whole_file(int fd, int tries)
{
    const int saved_errno = errno;
    for (int i = 1; set_whole_file_lock(fd, F_WRLCK) != 0; i++) {
        if ((errno != EAGAIN && errno != EACCES) || i >= tries)
            return false;
        usleep(kTryPause);
    }
    errno = saved_errno;
    return true;
}

bool
unlock_whole_file(int fd)
{
    return set_whole_file_lock(fd, F_UNLCK) == 0;
}
