// The record of a class move under way. A move deletes the account and makes
// it again with separate tools, and in between the account exists nowhere:
// the record, written before the first tool runs and removed after the last
// step, lets the next start of the daemon finish a move its death cut short.

#include "core/login_module.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/login_exception.hh"

namespace {

const char kRecord[] = "/etc/login-class-move";
const char kRecordWork[] = "/etc/login-class-move+";
const char kNoLine[] = "no-line";
const char kField[] = "field:";

}  // namespace

void LoginMain::save_class_move(const std::string& user, bool super_user,
                                uid_t old_uid, gid_t old_gid,
                                const std::string* field) {
    std::string text = user + "\n" + (super_user ? "super-user" : "read-only")
        + "\n" + c_format("%u %u", unsigned(old_uid), unsigned(old_gid))
        + "\n" + (field == nullptr ? kNoLine : kField + *field) + "\n";
    int fd = open(kRecordWork, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    bool good = fd >= 0
        && write(fd, text.data(), text.size()) == ssize_t(text.size())
        && fsync(fd) == 0;
    int error = errno;
    if (fd >= 0 && close(fd) != 0 && good) {
        good = false;
        error = errno;
    }
    if (good && rename(kRecordWork, kRecord) != 0) {
        good = false;
        error = errno;
    }
    if (!good) {
        unlink(kRecordWork);
        throw LoginException("login_main.cc", __LINE__,
            c_format("Can't record the class move in %s, %s", kRecord,
                     strerror(error)));
    }
}

void LoginMain::end_class_move() {
    unlink(kRecord);
}

void LoginMain::finish_class_move() {
    // Looked for first: a stream would set up the locale, and with it pages
    // of memory the daemon never needs, at every start.
    if (access(kRecord, F_OK) != 0)
        return;
    std::ifstream in(kRecord);
    if (!in)
        return;
    std::string user, user_class, field;
    unsigned old_uid = 0, old_gid = 0;
    std::getline(in, user);
    std::getline(in, user_class);
    in >> old_uid >> old_gid;
    in.ignore(1);
    std::getline(in, field);
    char prefix[64];
    snprintf(prefix, sizeof(prefix), "+%d %s %s", __LINE__, "login_main.cc",
             __func__);
    bool has_field = field.compare(0, strlen(kField), kField) == 0;
    if (!in || user.empty() || (!has_field && field != kNoLine)
        || (user_class != "super-user" && user_class != "read-only")) {
        xlog_error("LOGIN", prefix, "%s is not a class move, removed",
                   kRecord);
        end_class_move();
        return;
    }
    xlog_warning("LOGIN", prefix, "Finishing the move of %s to %s cut short",
                 user.c_str(), user_class.c_str());
    field.erase(0, has_field ? strlen(kField) : field.size());
    try {
        remake_account(user, user_class == "super-user", old_uid, old_gid,
                       has_field ? &field : nullptr);
        end_class_move();
    } catch (const LoginException& e) {
        // Kept, so that the next start tries again.
        xlog_error("LOGIN", prefix, "Can't finish the move of %s, %s",
                   user.c_str(), e.why().c_str());
    }
}
