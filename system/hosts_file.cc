// The rewrite of /etc/hosts: read in pieces of at most 255 bytes, joined
// into whole lines, so that a line of any length arrives whole and only a
// whole line can match the old host line.

#include "system/hosts_file.hh"

#include "core/safe_file.hh"
#include "system/room.hh"

#include <cstdio>

namespace {

const size_t kPiece = 255;

// Appends to `line` the next piece: up to kPiece bytes, through the next
// newline at most. False at the end of the file or on a read error.
bool read_piece(FILE* file, std::string& line)
{
    size_t count = 0;
    int c;
    while (count < kPiece && (c = getc(file)) != EOF) {
        line += static_cast<char>(c);
        count++;
        if (c == '\n')
            break;
    }
    return count > 0;
}

// Collects the lines of the file except `old_line`. False on a read error.
bool collect_lines(FILE* file, const std::string& old_line, std::string& text)
{
    std::string line;
    while (read_piece(file, line)) {
        if (line.back() != '\n')
            continue;   // the rest of the line is still to come
        if (line != old_line)
            text += line;
        line.clear();
    }
    if (ferror(file))
        return false;
    if (!line.empty()) {
        // The last line lacks its newline: give it one, so that the host
        // line behind it stands on a line of its own.
        line += '\n';
        if (line != old_line)
            text += line;
    }
    return true;
}

}  // namespace

std::string
host_line(const std::string& name)
{
    return "127.0.0.1       " + name + "\n";
}

HostsRewrite
rewrite_hosts_file(const char* path, const std::string& old_line,
                   const std::string& new_line)
{
    std::string text;
    FILE* in = fopen(path, "r");
    if (in != NULL) {
        bool complete = collect_lines(in, old_line, text);
        fclose(in);
        if (!complete)
            return HostsRewrite::kReadError;
    }
    text += new_line;

    if (!room_to_replace(path, text.size()))
        return HostsRewrite::kNoRoom;
    FILE* out = fopen_safe_file(path, "wb");
    if (out == NULL)
        return HostsRewrite::kNotWritable;
    bool written = fwrite(text.data(), 1, text.size(), out) == text.size();
    if (fclose(out) != 0)
        written = false;
    return written ? HostsRewrite::kWritten : HostsRewrite::kWriteError;
}
