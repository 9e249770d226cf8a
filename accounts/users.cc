// The life of a local account: creation, deletion and the move between the
// two user classes, carried out by the system's account tools. The class of
// a user is stored nowhere but in the membership of the group "xorp".

#include "core/login_module.h"

#include <errno.h>
#include <grp.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "libxorp/xorp.h"
#include "libxorp/c_format.hh"

#include "core/login_main.hh"
#include "core/login_exception.hh"
#include "core/text_checks.hh"
#include "accounts/switch_users.hh"

namespace {

const char kReadOnly[] = "read-only";
const char kSuperUser[] = "super-user";
const char kHomeBase[] = "/tmp/home/";

std::string delete_keep_home_command(const std::string& user) {
    return "userdel -f " + user;
}

std::string delete_with_home_command(const std::string& user) {
    return "userdel -fr " + user;
}

std::string make_group_command(const std::string& user) {
    return "addgroup -q " + user;
}

std::string create_command(const std::string& user, bool super_user,
                           bool make_home) {
    std::string line = std::string("useradd -d ") + kHomeBase + user + " -l";
    if (make_home)
        line += " -m";
    line += " -s /usr/bin/velash_pty.sh";
    if (super_user)
        line += " -G xorp";
    line += " -g " + user + " " + user;
    return line;
}

// Without the group, "useradd -G xorp" fails unnoticed after the account has
// been deleted: refuse before anything runs, so that no account is lost.
void check_xorp_group_exists() {
    if (getgrnam("xorp") == NULL) {
        throw LoginException("login_main.cc", __LINE__,
            "Group xorp does not exist on this system, "
            "can not make a super-user");
    }
}

void check_arguments(const std::string& user, const std::string& user_class) {
    if (user.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "User is an empty string");
    }
    if (user_class.empty()) {
        throw LoginException("login_main.cc", __LINE__,
                             "User_class is an empty string");
    }
    // Both reach command lines, which would end at a NUL byte.
    check_no_nul_byte(user, "User name");
    check_no_nul_byte(user_class, "User class");
}

// Deletes the account and creates it again in the given class, with the
// password field carried across. The home directory stays where it is.
void rebuild_account(LoginMain& login, const std::string& user,
                     bool super_user) {
    if (!login.user_exists(user)) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("User %s not exist", user.c_str()));
    }
    if (super_user)
        check_xorp_group_exists();
    uid_t old_uid = 0;
    gid_t old_gid = 0;
    account_ids(user, old_uid, old_gid);
    // A field never holds a newline, so this value means "no line found".
    const std::string no_line(1, '\n');
    std::string saved = no_line;
    login.read_shadow_password(user, saved);
    const std::string* field = saved != no_line ? &saved : nullptr;
    login.save_class_move(user, super_user, old_uid, old_gid, field);
    login.remake_account(user, super_user, old_uid, old_gid, field);
    login.end_class_move();
}

}  // namespace

void LoginMain::remake_account(const std::string& user, bool super_user,
                               uid_t old_uid, gid_t old_gid,
                               const std::string* field) {
    // The tools' exit status is not looked at; what counts is the error text.
    int status = system(delete_keep_home_command(user).c_str());
    status = system(make_group_command(user).c_str());
    std::string text = strerror(errno);
    if (text != "Success")
        throw LoginException("login_main.cc", __LINE__, text);
    status = system(create_command(user, super_user, false).c_str());
    UNUSED(status);
    text = strerror(errno);
    if (text != "Success")
        throw LoginException("login_main.cc", __LINE__, text);
    // Without a line there was no password to carry; the new line stays
    // locked as useradd made it rather than open with an empty field.
    if (field != nullptr)
        rewrite_shadow_password(user, *field);
    give_home_to_account(user, old_uid, old_gid);
    // Last, so that a new account with a missing part still gets its
    // password and home back.
    check_account_made(user, super_user);
}

void LoginMain::create_user(const std::string& user,
                            const std::string& user_class) {
    check_arguments(user, user_class);
    validate_user_name(user);

    const bool read_only = (user_class == kReadOnly);
    const bool super_user = (user_class == kSuperUser);
    // Refused before step one: otherwise an existing account would be
    // deleted and nothing created in its place.
    if (!read_only && !super_user) {
        throw LoginException("login_main.cc", __LINE__,
            c_format("User class %s is invalid, must be %s or %s",
                     user_class.c_str(), kReadOnly, kSuperUser));
    }
    if (user == "root")
        return;

    if (super_user)
        check_xorp_group_exists();
    check_switch_user(user);

    uid_t old_uid = 0;
    gid_t old_gid = 0;
    const bool existed = user_exists(user);
    account_ids(user, old_uid, old_gid);
    int status;
    if (existed)
        status = system(delete_keep_home_command(user).c_str());

    // The tools' exit status is not looked at; what counts is the error text.
    status = system(make_group_command(user).c_str());
    std::string text = strerror(errno);
    if (text != "Success")
        throw LoginException("login_main.cc", __LINE__, text);
    status = system(create_command(user, super_user, !existed).c_str());
    UNUSED(status);
    text = strerror(errno);
    if (text != "Success")
        throw LoginException("login_main.cc", __LINE__, text);
    if (existed)
        give_home_to_account(user, old_uid, old_gid);
    check_account_made(user, super_user);
}

void LoginMain::delete_user(const std::string& user,
                            const std::string& user_class) {
    check_arguments(user, user_class);
    if (user == "root" || user == "admin" || user == "operator") {
        throw LoginException("login_main.cc", __LINE__,
            "Can not delete default local user root, admin, operator.");
    }
    if (!user_exists(user)) {
        throw LoginException("login_main.cc", __LINE__,
                             c_format("User %s not exist", user.c_str()));
    }
    check_switch_user(user);
    check_home_for_removal(user);
    // Neither the result nor errno is looked at: this step cannot fail.
    int status = system(delete_with_home_command(user).c_str());
    UNUSED(status);
}

void LoginMain::set_user_class(const std::string& user,
                               const std::string& user_class) {
    check_arguments(user, user_class);
    if (user_class == kReadOnly && (user == "root" || user == "admin")) {
        throw LoginException("login_main.cc", __LINE__,
            "Default user root, admin should always be super-user. "
            "Please set the user class.");
    }
    // The name goes to the shell unquoted: it must be a proper user name.
    validate_user_name(user);
    if (user != "root")
        check_switch_user(user);

    if (user_class == kReadOnly) {
        if (is_user_in_xorp_group(user))
            rebuild_account(*this, user, false);
        return;
    }
    if (user_class == kSuperUser && user != "root")
        rebuild_account(*this, user, true);
}

void LoginMain::delete_user_class(const std::string& user,
                                  const std::string& user_class) {
    check_arguments(user, user_class);
    if (user == "root" || user == "admin") {
        throw LoginException("login_main.cc", __LINE__,
            "Default user root, admin should always be super-user. "
            "Please do not delete this.");
    }
    // The name goes to the shell unquoted: it must be a proper user name.
    validate_user_name(user);
    check_switch_user(user);

    // Whatever class is named, the user ends up read-only.
    if (is_user_in_xorp_group(user))
        rebuild_account(*this, user, false);
}
