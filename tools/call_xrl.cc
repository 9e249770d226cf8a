// call_xrl: sends XRLs given on the command line, or read from files with
// -f (one a line; "-" or no file for standard input; blank lines and lines
// starting with '#' skipped), in order, and prints their answers.
//
// Usage: call_xrl [-F host[:port]] [-r retries] [-w seconds] XRL...
//        call_xrl [-F host[:port]] [-r retries] [-w seconds] -f [FILE...]
// Exit status: 0 all succeeded; 3 a target answered an error; 255 an
// unknown target or method, no answer in time, or bad syntax; 1 no finder
// (or one not run by root or by our user); 2 an unknown option.

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxorp/exceptions.hh"
#include "libxipc/finder_constants.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_std_router.hh"

namespace {

// Default wait for an answer: the daemon's operations block for as long as
// the commands they run (a ping, ntpdate), well over a second.
const int kDefaultWaitSeconds = 30;

const int EXIT_TARGET_ERROR = 3;
const int EXIT_UNRESOLVED = 255;
const int EXIT_NO_FINDER = 1;

struct Outcome {
    bool	done;
    XrlError	error;
    std::string	args;
};

void
usage(const char* argv0, FILE* to = stderr)
{
    fprintf(to,
	    "Usage: %s [-F <host>[:<port>]] [-r <retries>] [-w <seconds>] "
	    "<xrl> ...\n"
	    "       %s [-F <host>[:<port>]] [-r <retries>] [-w <seconds>] "
	    "-f [<file> ...]\n", argv0, argv0);
}

const int EXIT_USAGE = 2;

void
got_answer(const XrlError& e, XrlArgs* a, Outcome* out, unsigned attempt,
	   unsigned* current)
{
    if (attempt != *current)
	return;			// a late answer to an earlier try
    out->done = true;
    out->error = e;
    out->args = (a != NULL && !a->empty()) ? a->str() : std::string();
}

// Turns the loop until *flag is set or `wait` has passed.
void
run_until(EventLoop& e, const bool* flag, const TimeVal& wait)
{
    bool expired = false;
    XorpTimer t = e.set_flag_after(wait, &expired);
    while (!*flag && !expired)
	e.run();
}

int
call_one(EventLoop& e, XrlStdRouter& router, const Xrl& xrl, int retries,
	 int wait_s)
{
    static unsigned current = 0;
    for (int attempt = 0; attempt <= retries; attempt++) {
	Outcome out;
	out.done = false;
	unsigned tag = ++current;
	if (!router.send(xrl, callback(&got_answer, &out, tag, &current))) {
	    fprintf(stderr, "Failed.  Reason: %s (\"%s\")\n",
		    XrlError::NO_FINDER().str().c_str(), xrl.str().c_str());
	    return EXIT_NO_FINDER;
	}
	run_until(e, &out.done, TimeVal(wait_s, 0));
	if (!out.done) {
	    if (attempt < retries)
		continue;
	    fprintf(stderr, "Failed.  Reason: %s (\"%s\")\n",
		    XrlError::REPLY_TIMED_OUT().str().c_str(),
		    xrl.str().c_str());
	    return EXIT_UNRESOLVED;
	}
	if (out.error.error_code() == RESOLVE_FAILED) {
	    if (attempt < retries) {
		bool never = false;
		run_until(e, &never, TimeVal(1, 0));
		continue;
	    }
	    fprintf(stderr, "Failed.  Reason: %s (\"%s\")\n",
		    out.error.str().c_str(), xrl.str().c_str());
	    return EXIT_UNRESOLVED;
	}
	if (!out.error.isOK()) {
	    fprintf(stderr, "Failed.  Reason: %s (\"%s\")\n",
		    out.error.str().c_str(), xrl.str().c_str());
	    return EXIT_TARGET_ERROR;
	}
	if (!out.args.empty())
	    printf("%s\n", out.args.c_str());
	fflush(stdout);
	return 0;
    }
    return EXIT_UNRESOLVED;
}

// The XRLs of one file (or standard input for "-"): one a line, blank
// lines and '#' comments skipped.  False if the file cannot be read.
bool
read_xrl_file(const std::string& path, std::vector<std::string>& out)
{
    std::ifstream f;
    if (path != "-") {
	f.open(path.c_str());
	if (!f)
	    return false;
    }
    std::istream& in = path == "-" ? std::cin : f;
    std::string line;
    while (std::getline(in, line)) {
	size_t b = line.find_first_not_of(" \t\r");
	if (b == std::string::npos || line[b] == '#')
	    continue;
	size_t e = line.find_last_not_of(" \t\r");
	out.push_back(line.substr(b, e + 1 - b));
    }
    return !in.bad();
}

bool
parse_number(const char* s, int& v)
{
    char* end;
    long n = strtol(s, &end, 10);
    if (*s == '\0' || *end != '\0' || n < 0 || n > 1000000)
	return false;
    v = static_cast<int>(n);
    return true;
}

}  // namespace

int
main(int argc, char** argv)
{
    std::string host = finder_env_address();
    uint16_t port = finder_env_port();
    int retries = 0;
    int wait_s = kDefaultWaitSeconds;
    bool from_files = false;
    int ch;
    while ((ch = getopt(argc, argv, "F:r:w:fh")) != -1) {
	switch (ch) {
	case 'F': {
	    std::string f = optarg;
	    size_t colon = f.find(':');
	    host = f.substr(0, colon);
	    if (colon != std::string::npos) {
		int p;
		if (!parse_number(f.c_str() + colon + 1, p) || p == 0
		    || p > 65535) {
		    usage(argv[0]);
		    return EXIT_UNRESOLVED;
		}
		port = static_cast<uint16_t>(p);
	    }
	    break;
	}
	case 'r':
	    if (!parse_number(optarg, retries)) {
		usage(argv[0]);
		return EXIT_UNRESOLVED;
	    }
	    break;
	case 'f':
	    from_files = true;
	    break;
	case 'w':
	    if (!parse_number(optarg, wait_s) || wait_s == 0) {
		usage(argv[0]);
		return EXIT_UNRESOLVED;
	    }
	    break;
	case 'h':
	    usage(argv[0], stdout);
	    return 0;
	default:
	    usage(argv[0]);
	    return EXIT_USAGE;
	}
    }
    std::vector<std::string> texts;
    if (from_files) {
	std::vector<std::string> files(argv + optind, argv + argc);
	if (files.empty())
	    files.push_back("-");
	for (const std::string& f : files) {
	    if (!read_xrl_file(f, texts)) {
		fprintf(stderr, "call_xrl: cannot read %s: %s\n", f.c_str(),
			strerror(errno));
		return EXIT_UNRESOLVED;
	    }
	}
    } else {
	if (optind == argc) {
	    usage(argv[0]);
	    return 0;
	}
	texts.assign(argv + optind, argv + argc);
    }

    // Every XRL is checked before anything is sent.
    std::vector<std::unique_ptr<Xrl> > xrls;
    for (const std::string& t : texts) {
	try {
	    xrls.emplace_back(new Xrl(t.c_str()));
	} catch (const XorpException& ex) {
	    fprintf(stderr, "%s\nBad XRL syntax: %s\n", ex.str().c_str(),
		    t.c_str());
	    return EXIT_UNRESOLVED;
	}
	if (xrls.back()->protocol() != "finder") {
	    fprintf(stderr, "Bad XRL syntax: %s (only finder:// XRLs are "
		    "sent)\n", t.c_str());
	    return EXIT_UNRESOLVED;
	}
    }

    EventLoop e;
    XrlStdRouter router(e, "call_xrl", host.c_str(), port, false);
    router.set_reply_timeout(TimeVal(wait_s + 1, 0));
    router.finalize();
    while (!router.ready() && !router.failed()
	   && router.finder_refusal().empty())
	e.run();
    if (!router.finder_refusal().empty()) {
	fprintf(stderr, "call_xrl: %s\n", router.finder_refusal().c_str());
	return EXIT_NO_FINDER;
    }
    if (!router.ready()) {
	fprintf(stderr, "call_xrl: no finder at %s:%u\n", host.c_str(),
		static_cast<unsigned>(port));
	return EXIT_NO_FINDER;
    }
    for (size_t i = 0; i < xrls.size(); i++) {
	int r = call_one(e, router, *xrls[i], retries, wait_s);
	if (r != 0)
	    return r;
    }
    return 0;
}
