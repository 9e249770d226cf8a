// The sandbox's /bin/sh: journals the line of every `sh -c LINE` (what
// system() and popen() run), then becomes dash with the arguments untouched.
//
// Journal line: the bytes of LINE, with '\' written "\\" and a newline "\n".
// One write(2) on an O_APPEND descriptor under flock(), so lines of
// concurrent shells never interleave.
//
// dash is started through a link named like our own process name, so that a
// script run through "#!/bin/sh" keeps its name for ps, pgrep and pkill.

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace {

const char kJournal[] = "/var/log/sandbox/commands.log";
const char kShell[] = "/bin/dash";
const char kNameDir[] = "/run/sandbox/sh";

// The line of `sh -c LINE ...` or `sh -c -- LINE ...`; null for other uses.
const char* CommandLine(int argc, char** argv) {
  if (argc < 3 || strcmp(argv[1], "-c") != 0) return nullptr;
  if (strcmp(argv[2], "--") == 0) return argc > 3 ? argv[3] : nullptr;
  return argv[2];
}

void Journal(const char* line) {
  std::string entry;
  for (const char* p = line; *p; ++p) {
    if (*p == '\\') entry += "\\\\";
    else if (*p == '\n') entry += "\\n";
    else entry += *p;
  }
  entry += '\n';
  int fd = open(kJournal, O_WRONLY | O_APPEND | O_CLOEXEC);
  if (fd < 0) return;  // No journal here: behave as a plain sh.
  flock(fd, LOCK_EX);
  size_t done = 0;
  while (done < entry.size()) {
    ssize_t n = write(fd, entry.data() + done, entry.size() - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  close(fd);  // Releases the lock.
}

// Path of a link to dash whose last component is this process's name.
std::string ShellPath() {
  char name[17] = {0};
  if (prctl(PR_GET_NAME, name, 0, 0, 0) != 0 || name[0] == '\0' ||
      strcmp(name, ".") == 0 || strcmp(name, "..") == 0)
    return kShell;
  std::string link = std::string(kNameDir) + "/" + name;
  struct stat st;
  if (lstat(link.c_str(), &st) == 0) return link;
  // Concurrent shells may race to make the same link; either one is fine.
  if (symlink(kShell, link.c_str()) == 0 || errno == EEXIST) return link;
  return kShell;
}

}  // namespace

int main(int argc, char** argv) {
  if (const char* line = CommandLine(argc, argv)) Journal(line);
  std::string shell = ShellPath();
  execv(shell.c_str(), argv);
  execv(kShell, argv);
  return 127;
}
