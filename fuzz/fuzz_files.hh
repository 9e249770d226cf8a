// Files for the fuzz targets: unlinked temporary files, reached by path
// through /proc, never the system's own files.
#ifndef LOGIN_FUZZ_FUZZ_FILES_HH
#define LOGIN_FUZZ_FUZZ_FILES_HH
#include <cstdio>
#include <cstdlib>
#include <string>

// A new temporary file holding `content`; `path` names it.
inline FILE* temp_file(const std::string& content, std::string& path) {
    FILE* file = tmpfile();
    if (file == nullptr || fwrite(content.data(), 1, content.size(), file) != content.size()
        || fflush(file) != 0)
        abort();
    path = "/proc/self/fd/" + std::to_string(fileno(file));
    return file;
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
