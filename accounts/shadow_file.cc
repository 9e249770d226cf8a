// The editor of /etc/shadow: rewrites the password field of a user's lines
// through the work file /etc/shadow+ and reads it back. The only code of the
// daemon that touches the file directly.

#include "core/login_module.h"

#include <errno.h>
#include <fcntl.h>
#include <shadow.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/login_exception.hh"
#include "core/text_checks.hh"

namespace {

const char kShadowFile[] = "/etc/shadow";
const char kWorkFile[] = "/etc/shadow+";
const char kShadowDirectory[] = "/etc";
const char kLockedField[] = "*";
const char kPasswordFilesLock[] = "/etc/.pwd.lock";
const int kWorkFileTries = 30;
const useconds_t kTryPause = 100000;

// The password-files lock for the life of the object: the write lock on
// /etc/.pwd.lock that lckpwdf() takes and that shadow-utils and pam_unix
// honour. lckpwdf() itself would block the whole daemon for up to 15 s; here
// it is tried without waiting, within the editor's budget of 30 tries of
// 100 ms, and errno is left as it was when it is had.
class PasswordFilesLock {
public:
    PasswordFilesLock();
    ~PasswordFilesLock() {
        if (_fd >= 0)
            close(_fd);  // closing the descriptor drops the lock
    }
    PasswordFilesLock(const PasswordFilesLock&) = delete;
    PasswordFilesLock& operator=(const PasswordFilesLock&) = delete;

    bool held() const { return _fd >= 0; }
    // Why it is not held: EAGAIN when another program kept it all along.
    int error() const { return _error; }

private:
    int _fd = -1;
    int _error = 0;
};

std::string lock_failure_reason(int error) {
    if (error == EAGAIN || error == EACCES)
        return "Can't lock the password files, another program holds them";
    return c_format("Can't lock the password files, %s", strerror(error));
}

// A record lock over the whole file; F_SETLK never waits.
int set_record_lock(int fd, short type) {
    struct flock lock;
    memset(&lock, 0, sizeof(lock));
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0;
    return fcntl(fd, F_SETLK, &lock);
}

PasswordFilesLock::PasswordFilesLock() {
    const int saved_errno = errno;
    int fd = open(kPasswordFilesLock, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        _error = errno;
        return;
    }
    for (int tries = 1; set_record_lock(fd, F_WRLCK) != 0; ++tries) {
        _error = errno;
        if ((_error != EAGAIN && _error != EACCES) || tries == kWorkFileTries) {
            close(fd);
            return;
        }
        usleep(kTryPause);
    }
    _fd = fd;
    _error = 0;
    errno = saved_errno;
}

// Bytes that would add or shift lines of /etc/shadow, or cut the field short.
const char* field_structure_problem(const std::string& field) {
    if (field.find(':') != std::string::npos)
        return "Password must not contain ':'";
    if (field.find('\n') != std::string::npos)
        return "Password must not contain a newline";
    if (has_nul_byte(field))
        return "Password must not contain a control character";
    return nullptr;
}

// What a password from outside may not hold: besides the above, no control
// character at all (a hash is printable ASCII).
const char* password_problem(const std::string& password) {
    const char* problem = field_structure_problem(password);
    if (problem != nullptr)
        return problem;
    for (unsigned char c : password) {
        if (c < 0x20 || c == 0x7f)
            return "Password must not contain a control character";
    }
    return nullptr;
}

// Makes the rename durable: the new directory entry reaches the disk.
void sync_shadow_directory() {
    int fd = open(kShadowDirectory, O_RDONLY | O_DIRECTORY);
    if (fd >= 0 && fsync(fd) == 0) {
        close(fd);
        return;
    }
    std::string why = strerror(errno);
    if (fd >= 0)
        close(fd);
    // The new file is in place already; a failed sync does not undo that.
    char prefix[8000];
    snprintf(prefix, sizeof(prefix), "+%d %s %s", __LINE__, "login_main.cc",
             "rewrite_shadow_password");
    xlog_warning("LOGIN", prefix, "Can't sync %s after renaming %s, %s",
                 kShadowDirectory, kWorkFile, why.c_str());
}

}  // namespace

// Every line of `from` to `to`, the password field of the user's lines
// replaced; each line written ends in a newline.
int LoginMain::copy_shadow_lines(FILE* from, FILE* to, const std::string& user,
                                 const std::string& field) {
    const std::string key = user + ":";
    const size_t key_length = key.size();
    // The first failure of the copy: a read error, a write error, or memory.
    int copy_error = 0;
    for (;;) {
        unsigned length = 0;
        char* line = read_line(from, length);
        if (line == nullptr) {
            if (ferror(from))
                copy_error = errno != 0 ? errno : EIO;
            else if (!feof(from))
                copy_error = ENOMEM;  // read_line ran out of memory
            break;
        }
        if (length != 0 && line[length - 1] == '\n')
            line[length - 1] = '\0';
        int written;
        if (strncmp(line, key.c_str(), key_length) == 0) {
            const char* rest = strchrnul(line + key_length, ':');
            written = fprintf(to, "%s%s%s\n", key.c_str(), field.c_str(),
                              rest);
        } else {
            written = fprintf(to, "%s\n", line);
        }
        free(line);
        if (written < 0) {
            copy_error = errno != 0 ? errno : EIO;
            break;
        }
    }
    return copy_error;
}

void LoginMain::rewrite_shadow_password(const std::string& user,
                                        const std::string& field) {
    if (getuid() != 0) {
        throw LoginException("login_main.cc", __LINE__,
                             "Only root can use this function");
    }
    const char* problem = field_structure_problem(field);
    if (problem != nullptr)
        throw LoginException("login_main.cc", __LINE__, problem);
    // The key would end at a NUL byte and match another user's lines.
    check_no_nul_byte(user, "User name");

    PasswordFilesLock password_files;
    if (!password_files.held()) {
        throw LoginException("login_main.cc", __LINE__,
                             lock_failure_reason(password_files.error()));
    }

    FILE* shadow = fopen(kShadowFile, "r+");
    if (shadow == nullptr)
        throw LoginException("login_main.cc", __LINE__, strerror(errno));
    int shadow_fd = fileno(shadow);

    // Exclusive creation of the work file is the lock between editors that
    // use that name.
    int work_fd = -1;
    for (int tries = 0; tries < kWorkFileTries; ++tries) {
        work_fd = open(kWorkFile, O_WRONLY | O_CREAT | O_EXCL, 0600);
        if (work_fd >= 0)
            break;
        if (errno != EEXIST) {
            std::string why = strerror(errno);
            fclose(shadow);
            throw LoginException("login_main.cc", __LINE__, why);
        }
        usleep(kTryPause);
    }
    if (work_fd < 0) {
        // We hold the password files' lock, so no editor that honours it is
        // at work: the file was left by a process that died. Clear it so that
        // it does not wedge every later call; this call still fails.
        fclose(shadow);
        if (unlink(kWorkFile) != 0 && errno != ENOENT) {
            throw LoginException("login_main.cc", __LINE__,
                c_format("Work file %s was in the way for %d tries and "
                         "can't be removed, %s",
                         kWorkFile, kWorkFileTries, strerror(errno)));
        }
        throw LoginException("login_main.cc", __LINE__,
            c_format("Work file %s was in the way for %d tries and has been "
                     "removed", kWorkFile, kWorkFileTries));
    }

    // The new file must never stand under the old name with other rights.
    struct stat st;
    if (fstat(shadow_fd, &st) == 0) {
        int mode_result = fchmod(work_fd, st.st_mode & 0777);
        int owner_result = fchown(work_fd, st.st_uid, st.st_gid);
        UNUSED(mode_result);
        UNUSED(owner_result);
    }

    FILE* work = fdopen(work_fd, "w");
    if (work == nullptr) {
        std::string why = strerror(errno);
        fclose(shadow);
        close(work_fd);
        unlink(kWorkFile);
        throw LoginException("login_main.cc", __LINE__, why);
    }

    if (set_record_lock(shadow_fd, F_WRLCK) != 0) {
        std::string why = c_format("Can't lock /etc/shadow, %s",
                                   strerror(errno));
        fclose(shadow);
        fclose(work);
        unlink(kWorkFile);
        throw LoginException("login_main.cc", __LINE__, why);
    }

    int copy_error = copy_shadow_lines(shadow, work, user, field);

    set_record_lock(shadow_fd, F_UNLCK);

    // All four are carried out; the first failure gives the reason.
    int error = copy_error;
    if (ferror(shadow) && error == 0)
        error = EIO;
    if (fflush(work) != 0 && error == 0)
        error = errno;
    if (fsync(work_fd) != 0 && error == 0)
        error = errno;
    if (fclose(work) != 0 && error == 0)
        error = errno;

    if (error == 0 && rename(kWorkFile, kShadowFile) != 0)
        error = errno;
    if (error != 0) {
        fclose(shadow);
        unlink(kWorkFile);
        throw LoginException("login_main.cc", __LINE__, strerror(error));
    }

    sync_shadow_directory();
    // The stream still refers to the old file, which goes with this close.
    fclose(shadow);
}

void LoginMain::read_shadow_password(const std::string& user,
                                     std::string& field) {
    const std::string key = user + ":";
    const size_t key_length = key.size();

    if (getuid() != 0) {
        throw LoginException("login_main.cc", __LINE__,
                             "Only root can use this function");
    }

    PasswordFilesLock password_files;
    if (!password_files.held()) {
        throw LoginException("login_main.cc", __LINE__,
                             lock_failure_reason(password_files.error()));
    }

    FILE* shadow = fopen(kShadowFile, "r+");
    if (shadow == nullptr)
        throw LoginException("login_main.cc", __LINE__, strerror(errno));
    int shadow_fd = fileno(shadow);

    if (set_record_lock(shadow_fd, F_WRLCK) != 0) {
        std::string why = c_format("Can't lock /etc/shadow, %s",
                                   strerror(errno));
        fclose(shadow);
        throw LoginException("login_main.cc", __LINE__, why);
    }

    // Every matching line is read: the last one decides.
    bool out_of_memory = false;
    for (;;) {
        unsigned length = 0;
        char* line = read_line(shadow, length);
        if (line == nullptr) {
            out_of_memory = !feof(shadow) && !ferror(shadow);
            break;
        }
        if (length != 0 && line[length - 1] == '\n')
            line[length - 1] = '\0';
        if (strncmp(line, key.c_str(), key_length) == 0) {
            const char* start = line + key_length;
            const char* end = strchrnul(start, ':');
            field.assign(start, end - start);
        }
        free(line);
    }

    set_record_lock(shadow_fd, F_UNLCK);
    fclose(shadow);
    // A shortened read must not pass for the whole file.
    if (out_of_memory)
        throw LoginException("login_main.cc", __LINE__, strerror(ENOMEM));
}

void LoginMain::set_encrypted_password(const std::string& user,
                                       const std::string& password) {
    if (user.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "User is an empty string");
    }
    if (password.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "Password is an empty string");
    }
    const char* problem = password_problem(password);
    if (problem != nullptr)
        throw LoginException("login_main.cc", __LINE__, problem);
    if (!user_exists(user)) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("User %s not exist", user.c_str()));
    }
    rewrite_shadow_password(user, password);
}

void LoginMain::set_password_locked(const std::string& user,
                                    const std::string& password) {
    if (user.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "User is an empty string");
    }
    // Only tested for emptiness: a locked account's field is always "*".
    if (password.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "Password is an empty string");
    }
    if (!user_exists(user)) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("User %s not exist", user.c_str()));
    }
    rewrite_shadow_password(user, kLockedField);
}

void LoginMain::clear_stale_shadow_work_file() {
    // At start no rewrite of ours is under way; with the password-files lock
    // held no other editor that honours it is either, so a work file found
    // now was left by a process that died in the middle of a rewrite.
    PasswordFilesLock password_files;
    if (!password_files.held() || unlink(kWorkFile) != 0)
        return;
    char prefix[64];
    snprintf(prefix, sizeof(prefix), "+%d %s %s", __LINE__, "login_main.cc",
             __func__);
    xlog_warning("LOGIN", prefix, "Removed %s, left by an editor that died",
                 kWorkFile);
}
