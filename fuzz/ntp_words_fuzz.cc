// The word reader of the NTP server file, on a temporary file: every pair of
// words but "server 10.0.0.1" comes back joined by one blank, one pair a
// line, in order; a last odd word on its own line.
#include <algorithm>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_files.hh"
#include "system/ntp_file.hh"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string file(reinterpret_cast<const char*>(data), size), blanks(" \t\n\v\f\r");
    std::string expected, pair, path, kept;
    size_t words = 0;
    for (size_t start = file.find_first_not_of(blanks), end; start != std::string::npos;
         start = file.find_first_not_of(blanks, end)) {
        end = std::min(file.find_first_of(blanks, start), file.size());
        pair += (words++ % 2 ? " " : "") + file.substr(start, end - start);
        if (words % 2 == 0 && pair != "server 10.0.0.1")
            expected += pair + "\n";
        if (words % 2 == 0)
            pair.clear();
    }
    if (!pair.empty())
        expected += pair + "\n";
    FILE* ntp = temp_file(file, path);
    if (!read_ntp_servers_except(path.c_str(), "server 10.0.0.1", kept) || kept != expected)
        abort();
    fclose(ntp);
    return 0;
}
