#include "system/room.hh"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <string>

bool
room_to_replace(const char* path, size_t size)
{
    struct statvfs fs;
    struct stat st;
    unsigned long long held = 0;
    if (stat(path, &st) == 0) {
        held = static_cast<unsigned long long>(st.st_blocks) * 512;
    }
    std::string where = path;
    if (statvfs(path, &fs) != 0) {
        where = where.substr(0, where.rfind('/') + 1);
        if (statvfs(where.c_str(), &fs) != 0 || fs.f_frsize == 0)
            return true;
    }
    // The daemon runs as root, which may use the blocks kept for root.
    unsigned long long free = static_cast<unsigned long long>(fs.f_bfree) * fs.f_frsize;
    unsigned long long needed = (size + fs.f_frsize - 1) / fs.f_frsize * fs.f_frsize;
    return needed <= free + held;
}
