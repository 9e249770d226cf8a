// The word reader of the NTP server file, on a file in a temporary
// directory: every pair of words but "server 10.0.0.1" comes back, joined by
// one blank, one pair a line, in order; a last odd word on its own line.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/fuzz_files.hh"
#include "system/ntp_file.hh"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string file(reinterpret_cast<const char*>(data), size);
    const std::string target = "server 10.0.0.1", blanks(" \t\n\v\f\r");
    std::vector<std::string> words;
    for (size_t start = file.find_first_not_of(blanks);
         start != std::string::npos;) {
        size_t end = file.find_first_of(blanks, start);
        words.push_back(file.substr(start, end == std::string::npos
                                               ? std::string::npos
                                               : end - start));
        start = end == std::string::npos ? end
                                         : file.find_first_not_of(blanks, end);
    }
    std::string expected;
    for (size_t i = 0; i < words.size(); i += 2) {
        std::string pair = i + 1 < words.size()
                               ? words[i] + " " + words[i + 1] : words[i];
        if (pair != target)
            expected += pair + "\n";
    }

    const std::string path = fuzz_path("ntp-server");
    put_file(path, file);
    std::string kept;
    if (read_ntp_servers_except(path.c_str(), target, kept) && kept == expected)
        return 0;
    fprintf(stderr, "words differ\n");
    abort();
}
