// Guards around the account tools: which names the daemon may hand them,
// whether the account is there after they ran, and the ownership of a kept
// home directory after the account was made again with new ids.

#include "core/login_module.h"

#include "accounts/switch_users.hh"

#include <errno.h>
#include <ftw.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "libxorp/xorp.h"
#include "libxorp/c_format.hh"

#include "core/login_exception.hh"

namespace {

const char kLoginDefs[] = "/etc/login.defs";
const char kXorpGroup[] = "xorp";
const char kHomeBase[] = "/tmp/home/";

// The error-text check of the account operations reads errno after their
// commands; the look-ups made here must not leave anything there for it.
class ErrnoKeeper {
public:
    ErrnoKeeper() : _saved(errno) {}
    ~ErrnoKeeper() { errno = _saved; }

private:
    int _saved;
};

// A number of /etc/login.defs, or `fallback` (the tools' own default).
unsigned long login_defs_number(const char* key, unsigned long fallback) {
    FILE* defs = fopen(kLoginDefs, "r");
    if (defs == nullptr)
        return fallback;
    unsigned long value = fallback;
    char line[512];
    while (fgets(line, sizeof(line), defs) != nullptr) {
        char name[64];
        char number[64];
        if (sscanf(line, " %63s %63s", name, number) == 2
            && strcmp(name, key) == 0) {
            char* end;
            unsigned long parsed = strtoul(number, &end, 0);
            if (*end == '\0')
                value = parsed;
        }
    }
    fclose(defs);
    return value;
}

bool is_xorp_member(const std::string& user) {
    struct group* gr = getgrnam(kXorpGroup);
    for (char** m = gr != nullptr ? gr->gr_mem : nullptr;
         m != nullptr && *m != nullptr; ++m) {
        if (user == *m)
            return true;
    }
    return false;
}

[[noreturn]] void refuse(int line, const std::string& reason) {
    throw LoginException("login_main.cc", line, reason);
}

// Set for the one walk that runs at a time (nftw takes no context).
struct Handover {
    uid_t old_uid, new_uid;
    gid_t old_gid, new_gid;
    int error;
};
Handover* handover = nullptr;

int hand_over_entry(const char* path, const struct stat* st, int, FTW*) {
    uid_t uid = st->st_uid == handover->old_uid ? handover->new_uid
                                                 : static_cast<uid_t>(-1);
    gid_t gid = st->st_gid == handover->old_gid ? handover->new_gid
                                                 : static_cast<gid_t>(-1);
    if ((uid != static_cast<uid_t>(-1) || gid != static_cast<gid_t>(-1))
        && lchown(path, uid, gid) != 0 && handover->error == 0) {
        handover->error = errno;
    }
    return 0;  // one entry that can't be changed does not stop the others
}

}  // namespace

void check_switch_user(const std::string& user) {
    ErrnoKeeper keep;
    const unsigned long uid_min = login_defs_number("UID_MIN", 1000);
    const unsigned long uid_max = login_defs_number("UID_MAX", 60000);
    const unsigned long gid_min = login_defs_number("GID_MIN", 1000);
    const unsigned long gid_max = login_defs_number("GID_MAX", 60000);

    struct passwd* pw = getpwnam(user.c_str());
    const bool has_account = pw != nullptr;
    const gid_t primary = has_account ? pw->pw_gid : 0;
    if (has_account && (pw->pw_uid < uid_min || pw->pw_uid > uid_max))
        refuse(__LINE__, c_format("User %s is a system account", user.c_str()));

    struct group* gr = getgrnam(user.c_str());
    if (gr == nullptr)
        return;
    if (user == kXorpGroup) {
        refuse(__LINE__, "Group xorp is the group of the super-users, "
                         "it can not be a user's own group");
    }
    if (gr->gr_gid < gid_min || gr->gr_gid > gid_max)
        refuse(__LINE__, c_format("Group %s is a system group", user.c_str()));
    if (!has_account || primary != gr->gr_gid) {
        refuse(__LINE__, c_format("Group %s exists and is not the private "
                                  "group of user %s", user.c_str(),
                                  user.c_str()));
    }
}

void check_home_for_removal(const std::string& user) {
    ErrnoKeeper keep;
    struct passwd* pw = getpwnam(user.c_str());
    if (pw == nullptr)
        return;
    const std::string home = pw->pw_dir;
    struct stat st;
    if (home != kHomeBase + user
        || (lstat(home.c_str(), &st) == 0 && !S_ISDIR(st.st_mode))) {
        refuse(__LINE__, c_format("Home directory %s of user %s is not a "
                                  "directory under %s", home.c_str(),
                                  user.c_str(), kHomeBase));
    }
}

void check_account_made(const std::string& user, bool super_user) {
    ErrnoKeeper keep;
    struct passwd* pw = getpwnam(user.c_str());
    if (pw == nullptr) {
        refuse(__LINE__, c_format("User %s does not exist after the account "
                                  "tools ran", user.c_str()));
    }
    const gid_t primary = pw->pw_gid;
    struct group* gr = getgrnam(user.c_str());
    if (gr == nullptr) {
        refuse(__LINE__, c_format("Group %s does not exist after the account "
                                  "tools ran", user.c_str()));
    }
    if (gr->gr_gid != primary) {
        refuse(__LINE__, c_format("User %s does not have group %s as its "
                                  "primary group", user.c_str(), user.c_str()));
    }
    if (super_user && !is_xorp_member(user))
        refuse(__LINE__, c_format("User %s is not in group xorp", user.c_str()));
    if (!super_user && is_xorp_member(user))
        refuse(__LINE__, c_format("User %s is still in group xorp", user.c_str()));
}

bool account_ids(const std::string& user, uid_t& uid, gid_t& gid) {
    ErrnoKeeper keep;
    struct passwd* pw = getpwnam(user.c_str());
    if (pw == nullptr)
        return false;
    uid = pw->pw_uid;
    gid = pw->pw_gid;
    return true;
}

void give_home_to_account(const std::string& user, uid_t old_uid,
                          gid_t old_gid) {
    ErrnoKeeper keep;
    struct passwd* pw = getpwnam(user.c_str());
    if (pw == nullptr)
        return;
    Handover h = {old_uid, pw->pw_uid, old_gid, pw->pw_gid, 0};
    if (h.old_uid == h.new_uid && h.old_gid == h.new_gid)
        return;
    const std::string home = kHomeBase + user;
    handover = &h;
    // Physical walk: no link is followed. (Not bound to one file system:
    // on an overlay, files and directories report different devices.)
    int result = nftw(home.c_str(), hand_over_entry, 16, FTW_PHYS);
    handover = nullptr;
    if (result != 0 && errno != ENOENT && h.error == 0)
        h.error = errno;
    if (h.error != 0) {
        refuse(__LINE__, c_format("Home directory %s could not be given to "
                                  "the new account, %s", home.c_str(),
                                  strerror(h.error)));
    }
}
