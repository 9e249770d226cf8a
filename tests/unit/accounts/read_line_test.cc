// The line reader: any line length, newline and NUL both end a line.

#include "core/login_module.h"

#include <cstdio>
#include <cstdlib>
#include <string>

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

TEST(ReadLine, LinesKeepTheirNewlineAndTheLastNeedsNone) {
    FILE* stream = stream_of("root:x:0\nbob:y");
    unsigned length;
    EXPECT_EQ("root:x:0\n", next_line(stream, length));
    EXPECT_EQ(9u, length);
    EXPECT_EQ("bob:y", next_line(stream, length));
    EXPECT_EQ(5u, length);
    EXPECT_EQ("<end>", next_line(stream, length));
    EXPECT_EQ(0u, length);
    fclose(stream);
}

TEST(ReadLine, EmptyFileAndEmptyLines) {
    unsigned length;
    FILE* empty = stream_of("");
    EXPECT_EQ("<end>", next_line(empty, length));
    EXPECT_EQ(0u, length);
    fclose(empty);

    FILE* blank = stream_of("\n\nx");
    EXPECT_EQ("\n", next_line(blank, length));
    EXPECT_EQ("\n", next_line(blank, length));
    EXPECT_EQ("x", next_line(blank, length));
    EXPECT_EQ("<end>", next_line(blank, length));
    fclose(blank);
}

TEST(ReadLine, NulEndsALineLikeANewline) {
    FILE* stream = stream_of(std::string("ab\0cd\n", 6));
    unsigned length;
    EXPECT_EQ(std::string("ab\0", 3), next_line(stream, length));
    EXPECT_EQ(3u, length);
    EXPECT_EQ("cd\n", next_line(stream, length));
    EXPECT_EQ("<end>", next_line(stream, length));
    fclose(stream);
}

TEST(ReadLine, LinesAtAndAcrossTheGrowthStep) {
    // 255 bytes and a newline fill the first block exactly.
    const std::string exact = std::string(255, 'e') + "\n";
    const std::string longer = std::string(257, 'f') + "\n";
    const std::string huge(70000, 'h');
    FILE* stream = stream_of(exact + longer + huge);
    unsigned length;
    EXPECT_EQ(exact, next_line(stream, length));
    EXPECT_EQ(256u, length);
    EXPECT_EQ(longer, next_line(stream, length));
    EXPECT_EQ(258u, length);
    EXPECT_EQ(huge, next_line(stream, length));
    EXPECT_EQ(70000u, length);
    EXPECT_EQ("<end>", next_line(stream, length));
    fclose(stream);
}

}  // namespace
}  // namespace account_test
