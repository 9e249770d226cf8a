// Files for the fuzz targets: one temporary directory per process, never
// the system's own files.

#ifndef LOGIN_FUZZ_FUZZ_FILES_HH
#define LOGIN_FUZZ_FUZZ_FILES_HH

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <set>
#include <string>

// `name` in the process's temporary directory, which goes at exit.
inline std::string fuzz_path(const char* name) {
    static std::string dir;
    static std::set<std::string> paths;
    if (dir.empty()) {
        char pattern[] = "/tmp/login_fuzz.XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            abort();
        dir = pattern;
        atexit([] {
            for (const std::string& path : paths)
                unlink(path.c_str());
            rmdir(dir.c_str());
        });
    }
    return *paths.insert(dir + "/" + name).first;
}

inline void put_file(const std::string& path, const std::string& content) {
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(content.data(), 1, content.size(), file)
                               != content.size() || fclose(file) != 0)
        abort();
}

inline std::string get_file(const std::string& path) {
    std::string content;
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr)
        abort();
    char buffer[4096];
    size_t got;
    while ((got = fread(buffer, 1, sizeof(buffer), file)) > 0)
        content.append(buffer, got);
    fclose(file);
    return content;
}

// The text before the first newline and the text after it; false when
// there is no newline.
inline bool split_first_line(const uint8_t* data, size_t size,
                             std::string& first, std::string& rest) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    size_t newline = input.find('\n');
    if (newline == std::string::npos)
        return false;
    first = input.substr(0, newline);
    rest = input.substr(newline + 1);
    return true;
}

#endif  // LOGIN_FUZZ_FUZZ_FILES_HH
