#include "core/login_module.h"

#include "tests/unit/accounts/account_test_env.hh"

#include <shadow.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "libxorp/xorp.h"
#include "libxorp/eventloop.hh"
#include "libxipc/xrl_std_router.hh"

namespace account_test {

namespace {

const char* const kAccountFiles[] = {
    "/etc/shadow", "/etc/passwd", "/etc/group", "/etc/gshadow",
};

}  // namespace

LoginMain& login() {
    static EventLoop* eventloop = new EventLoop();
    static XrlStdRouter* router =
        new XrlStdRouter(*eventloop, "accounts_test", false);
    static LoginMain* login_main = new LoginMain(*router);
    return *login_main;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void write_file(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    ASSERT_TRUE(out.good()) << path;
}

bool file_exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

bool shell(const std::string& command) {
    int status = system(command.c_str());
    return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string shadow_field(const std::string& user) {
    struct spwd* entry = getspnam(user.c_str());
    return entry == nullptr ? "<no line>" : entry->sp_pwdp;
}

long open_descriptors() {
    std::filesystem::directory_iterator fds("/proc/self/fd");
    return std::distance(begin(fds), end(fds));
}

void AccountFilesTest::SetUp() {
    for (const char* path : kAccountFiles) {
        struct stat st;
        ASSERT_EQ(0, stat(path, &st)) << path;
        _saved.push_back({path, read_file(path), st.st_mode & 07777,
                          st.st_uid, st.st_gid});
    }
    login();  // its own descriptors are not the calls'
    _descriptors = open_descriptors();
}

void AccountFilesTest::TearDown() {
    // A leaked descriptor would also keep its locks of the account files.
    EXPECT_EQ(_descriptors, open_descriptors()) << "a descriptor outlived the test";
    unlink("/etc/shadow+");
    for (const Saved& saved : _saved) {
        write_file(saved.path, saved.content);
        EXPECT_EQ(0, chown(saved.path.c_str(), saved.uid, saved.gid));
        EXPECT_EQ(0, chmod(saved.path.c_str(), saved.mode));
    }
}

}  // namespace account_test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // The sandbox's journal folder tells a throwaway root from the host.
    if (getuid() != 0 || !account_test::file_exists("/var/log/sandbox")) {
        fprintf(stderr, "%s: run me inside scripts/sandbox\n", argv[0]);
        return 1;
    }
    return RUN_ALL_TESTS();
}
