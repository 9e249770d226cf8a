// The rewrite of /etc/hosts, on a temporary file. Input: the old host name,
// a newline, the file. The result is every line but the old host line, as
// it was and in order (a last line without a newline gets one), then the new
// host line.
#include <algorithm>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_files.hh"
#include "system/hosts_file.hh"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string name = input.substr(0, input.find('\n'));
    if (name.size() == input.size())
        return 0;
    const std::string file = input.substr(name.size() + 1);
    const std::string old_line = host_line(name), new_line = host_line("sw1");
    std::string expected, path;
    for (size_t start = 0, end; start < file.size(); start = end + 1) {
        end = std::min(file.find('\n', start), file.size());
        std::string line = file.substr(start, end - start) + "\n";
        if (line != old_line)
            expected += line;
    }
    private_file(file, path);
    if (rewrite_hosts_file(path.c_str(), old_line, new_line) != HostsRewrite::kWritten
        || file_text(path) != expected + new_line)
        abort();
    return 0;
}
