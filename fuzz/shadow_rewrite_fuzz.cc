// The copy step of the /etc/shadow rewrite, on a file in a temporary
// directory. Input: a user name, a newline, the file. Every line reaches the
// copy as it was (a NUL ends a line as a newline does, and every line is
// written with a newline); only the password field of the user's lines
// changes.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/login_main.hh"
#include "fuzz/fuzz_files.hh"

namespace {

const char kField[] = "$6$fuzz$new";

std::string expected_copy(const std::string& user, const std::string& file) {
    const std::string key = user + ":";
    std::string out;
    size_t start = 0;
    while (start < file.size()) {
        size_t end = file.find_first_of(std::string("\n\0", 2), start);
        if (end == std::string::npos)
            end = file.size();
        std::string line = file.substr(start, end - start);
        if (line.compare(0, key.size(), key) == 0) {
            size_t colon = line.find(':', key.size());
            line = key + kField +
                   (colon == std::string::npos ? "" : line.substr(colon));
        }
        out += line + "\n";
        start = end + 1;
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string user, file;
    if (!split_first_line(data, size, user, file)
        || user.find('\0') != std::string::npos)
        return 0;  // names come from XRL text, which holds no NUL
    const std::string shadow = fuzz_path("shadow"), work = fuzz_path("shadow+");
    put_file(shadow, file);
    FILE* from = fopen(shadow.c_str(), "r");
    FILE* to = fopen(work.c_str(), "w");
    int error = LoginMain::copy_shadow_lines(from, to, user, kField);
    fclose(from);
    fclose(to);
    if (error == 0 && get_file(work) == expected_copy(user, file))
        return 0;
    fprintf(stderr, "copy differs (error %d) for user \"%s\"\n", error,
            user.c_str());
    abort();
}
