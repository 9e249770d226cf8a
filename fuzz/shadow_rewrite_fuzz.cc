// The copy step of the /etc/shadow rewrite, on temporary files. Input: a
// user name, a newline, the file. Only the password field of the user's
// lines changes; every other line is copied byte for byte (a NUL ends a
// line as a newline does, and every line is written with a newline).
#include <algorithm>
#include <cstdint>
#include <string>

#include "core/login_main.hh"
#include "fuzz/fuzz_files.hh"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string user = input.substr(0, input.find('\n')), key = user + ":";
    if (user.size() == input.size() || user.find('\0') != std::string::npos)
        return 0;  // no file; or a name XRL text can't carry
    const std::string file = input.substr(user.size() + 1);
    std::string expected, from_path, to_path;
    for (size_t start = 0, end; start < file.size(); start = end + 1) {
        end = std::min(file.find_first_of(std::string("\n\0", 2), start), file.size());
        std::string line = file.substr(start, end - start);
        if (line.compare(0, key.size(), key) == 0)
            line = key + "NEW" + line.substr(std::min(line.find(':', key.size()), line.size()));
        expected += line + "\n";
    }
    FILE* from = temp_file(file, from_path);
    FILE* to = temp_file("", to_path);
    rewind(from);
    if (LoginMain::copy_shadow_lines(from, to, user, "NEW") != 0 || fflush(to) != 0
        || file_text(to_path) != expected)
        abort();
    fclose(from);
    fclose(to);
    return 0;
}
