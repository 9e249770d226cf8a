// The rewrite of /etc/hosts, on a file in a temporary directory. Input: the
// old host name, a newline, the file. The result holds every line of the
// file but the old host line, as it was and in order (a last line without a
// newline gets one), and then the new host line.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_files.hh"
#include "system/hosts_file.hh"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string name, file;
    if (!split_first_line(data, size, name, file))
        return 0;
    const std::string old_line = host_line(name), new_line = host_line("sw1");
    std::string expected;
    for (size_t start = 0; start < file.size();) {
        size_t end = file.find('\n', start);
        std::string line = file.substr(start, end == std::string::npos
                                                  ? std::string::npos
                                                  : end - start) + "\n";
        if (line != old_line)
            expected += line;
        start = end == std::string::npos ? file.size() : end + 1;
    }
    expected += new_line;

    const std::string path = fuzz_path("hosts");
    put_file(path, file);
    if (rewrite_hosts_file(path.c_str(), old_line, new_line)
            == HostsRewrite::kWritten && get_file(path) == expected)
        return 0;
    fprintf(stderr, "rewrite differs for old name \"%s\"\n", name.c_str());
    abort();
}
