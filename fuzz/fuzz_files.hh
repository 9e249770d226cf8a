// Files for the fuzz targets: unlinked temporary files, reached by path
// through /proc, never the system's own files.
#ifndef LOGIN_FUZZ_FUZZ_FILES_HH
#define LOGIN_FUZZ_FUZZ_FILES_HH
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

// A new temporary file holding `content`; `path` names it.
inline FILE* temp_file(const std::string& content, std::string& path) {
    FILE* file = tmpfile();
    if (file == nullptr || fwrite(content.data(), 1, content.size(), file) != content.size()
        || fflush(file) != 0)
        abort();
    path = "/proc/self/fd/" + std::to_string(fileno(file));
    return file;
}

// `content` in a file of a directory only this process's user can write
// (made once, under /tmp), for code that refuses a path through a link or a
// directory open to others; `path` names it. The file is made anew.
inline void private_file(const std::string& content, std::string& path) {
    static std::string dir;
    if (dir.empty()) {
        char name[] = "/tmp/fuzz-XXXXXX";
        if (mkdtemp(name) == nullptr)
            abort();
        dir = name;
        atexit([] {
            unlink((dir + "/file").c_str());
            rmdir(dir.c_str());
        });
    }
    path = dir + "/file";
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(content.data(), 1, content.size(), file) != content.size()
        || fclose(file) != 0)
        abort();
}

// What the file at `path` holds.
inline std::string file_text(const std::string& path) {
    std::string text;
    FILE* file = fopen(path.c_str(), "rb");
    for (int c; file != nullptr && (c = getc(file)) != EOF;)
        text += static_cast<char>(c);
    if (file != nullptr)
        fclose(file);
    return text;
}
#endif  // LOGIN_FUZZ_FUZZ_FILES_HH
