// The reader of /etc/ntp-server. It goes by words, not lines: every line
// "server ADDRESS" comes back as it was, and a line of another form is
// paired with the words around it.

#include "system/ntp_file.hh"

#include <cstdio>

namespace {

bool is_space(int c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f'
        || c == '\r';
}

// Reads the next word, skipping white space before it. False at the end of
// the file (or on a read error) with no word found.
bool read_word(FILE* file, std::string& word)
{
    word.clear();
    int c;
    do {
        c = getc(file);
    } while (c != EOF && is_space(c));
    while (c != EOF && !is_space(c)) {
        word += static_cast<char>(c);
        c = getc(file);
    }
    return !word.empty();
}

}  // namespace

bool
read_ntp_servers_except(const char* path, const std::string& target,
                        std::string& kept)
{
    FILE* file = fopen(path, "r");
    if (file == NULL)
        return false;
    kept.clear();
    std::string first, second;
    while (read_word(file, first)) {
        if (!read_word(file, second)) {
            kept += first + "\n";
            break;
        }
        std::string pair = first + " " + second;
        if (pair != target)
            kept += pair + "\n";
    }
    bool complete = !ferror(file);
    fclose(file);
    return complete;
}
