// What the account tests share: one LoginMain for the whole binary and the
// account files as strings. Sandbox only: it rewrites /etc/shadow, adds users.

#ifndef LOGIN_TESTS_UNIT_ACCOUNTS_ACCOUNT_TEST_ENV_HH
#define LOGIN_TESTS_UNIT_ACCOUNTS_ACCOUNT_TEST_ENV_HH

#include <sys/types.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/login_main.hh"

namespace account_test {

// The daemon object, built on first use (its constructor runs iptables).
LoginMain& login();

std::string read_file(const std::string& path);
// Replaces the content in place, so that mode and owner stay.
void write_file(const std::string& path, const std::string& content);
bool file_exists(const std::string& path);

// Runs a shell command; true if it exited with status 0.
bool shell(const std::string& command);

// The reason of the LoginException that `call` raises, or "no exception".
template <typename F>
std::string failure_of(F call) {
    try {
        call();
    } catch (const LoginException& e) {
        return e.why();
    }
    return "no exception";
}

// The password field of `user` in /etc/shadow, or "<no line>".
std::string shadow_field(const std::string& user);

// Checks that no descriptor outlives the test, then restores /etc/shadow,
// /etc/passwd, /etc/group and /etc/gshadow (content, mode and owner) to what
// they were when the test began, and removes a left-over /etc/shadow+.
class AccountFilesTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

private:
    struct Saved {
        std::string path;
        std::string content;
        mode_t      mode;
        uid_t       uid;
        gid_t       gid;
    };
    std::vector<Saved> _saved;
    long _descriptors = 0;
};

}  // namespace account_test

#endif  // LOGIN_TESTS_UNIT_ACCOUNTS_ACCOUNT_TEST_ENV_HH
