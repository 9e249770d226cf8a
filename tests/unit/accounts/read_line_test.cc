// The line reader: any line length, newline and NUL both end a line.

#include "core/login_module.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/unit/accounts/account_test_env.hh"

namespace account_test {
namespace {

// A stream over `content`, read from its start.
FILE* stream_of(const std::string& content) {
    FILE* stream = tmpfile();
    fwrite(content.data(), 1, content.size(), stream);
    rewind(stream);
    return stream;
}

// The next line as a string (with its terminator), or "<end>".
std::string next_line(FILE* stream, unsigned& length) {
    length = 12345;
    char* line = login().read_line(stream, length);
    if (line == nullptr)
        return "<end>";
    EXPECT_EQ('\0', line[length]);  // the terminator behind the bytes
    std::string text(line, length);
    free(line);
    return text;
}

TEST(ReadLine, LinesOfAnyLengthEndAtANewlineOrANul) {
    // 255 bytes and a newline fill the first block exactly.
    const std::string exact = std::string(255, 'e') + "\n";
    const std::string longer = std::string(257, 'f') + "\n";
    const std::string huge(70000, 'h');
    const struct { std::string content; std::vector<std::string> lines; } cases[] = {
        {"root:x:0\nbob:y", {"root:x:0\n", "bob:y"}},
        {"", {}},
        {"\n\nx", {"\n", "\n", "x"}},
        {std::string("ab\0cd\n", 6), {std::string("ab\0", 3), "cd\n"}},
        {exact + longer + huge, {exact, longer, huge}},
    };
    for (const auto& c : cases) {
        FILE* stream = stream_of(c.content);
        unsigned length;
        for (const std::string& line : c.lines) {
            EXPECT_EQ(line, next_line(stream, length));
            EXPECT_EQ(line.size(), length);
        }
        EXPECT_EQ("<end>", next_line(stream, length));
        EXPECT_EQ(0u, length);
        fclose(stream);
    }
}

}  // namespace
}  // namespace account_test
