// Guards around the account tools. Their command lines trust the names they
// are given, so the daemon checks, before they run, that a name is a switch
// user (or free to become one), and after they ran, that the account is there.

#ifndef LOGIN_ACCOUNTS_SWITCH_USERS_HH
#define LOGIN_ACCOUNTS_SWITCH_USERS_HH

#include <sys/types.h>

#include <string>

// Raises LoginException unless `user` is a switch user or a free name: not a
// system account (uid outside UID_MIN..UID_MAX of /etc/login.defs), and no
// group of that name other than the user's own private group (gid inside
// GID_MIN..GID_MAX, never "xorp").
void check_switch_user(const std::string& user);

// Raises LoginException unless the home directory of `user` is
// /tmp/home/<user> and, where it exists, a directory and not a link.
void check_home_for_removal(const std::string& user);

// After the tools ran: raises LoginException naming what is missing unless
// `user` exists with its own group as primary group and is in "xorp"
// exactly when `super_user`.
void check_account_made(const std::string& user, bool super_user);

// The uid and gid of `user`; false if there is no such account.
bool account_ids(const std::string& user, uid_t& uid, gid_t& gid);

// Gives whatever under the home of `user` belonged to `old_uid` / `old_gid`
// to the account's present uid and gid. Links are changed, never followed.
void give_home_to_account(const std::string& user, uid_t old_uid,
                          gid_t old_gid);

#endif  // LOGIN_ACCOUNTS_SWITCH_USERS_HH
