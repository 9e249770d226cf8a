// xorp_finder: the finder every process of the switch registers with.
//
// Usage: xorp_finder [-p port] [-v]
// Speaks XORP's finder protocol 0.2.  Listens on 127.0.0.1 only.  -i, -n and -a (XORP's interface and
// allowed-host options) are accepted and ignored for that reason.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "libxorp/eventloop.hh"
#include "libxipc/finder_constants.hh"
#include "libxipc/finder_server.hh"

// -h: the usage on stdout, exit 0; a wrong option or argument: on stderr,
// exit 2.
static void
usage(const char* argv0, int status = 2)
{
    fprintf(status == 0 ? stdout : stderr, "Usage: %s [-p port] [-v]\n",
	    argv0);
    exit(status);
}

int
main(int argc, char** argv)
{
    uint16_t port = FinderConstants::FINDER_DEFAULT_PORT();
    bool verbose = false;
    int ch;
    while ((ch = getopt(argc, argv, "p:vi:n:a:h")) != -1) {
	switch (ch) {
	case 'p': {
	    char* end;
	    long p = strtol(optarg, &end, 10);
	    if (*optarg == '\0' || *end != '\0' || p < 0 || p > 65535)
		usage(argv[0]);
	    port = static_cast<uint16_t>(p);
	    break;
	}
	case 'v':
	    verbose = true;
	    break;
	case 'i': case 'n': case 'a':
	    break;
	case 'h':
	    usage(argv[0], 0);
	    break;
	default:
	    usage(argv[0]);
	}
    }
    if (optind != argc)
	usage(argv[0]);

    setup_dflt_sighandlers();
    EventLoop eventloop;
    FinderServer finder(eventloop, port, verbose);
    if (!finder.listening()) {
	fprintf(stderr, "xorp_finder: %s\n", finder.error().c_str());
	return 1;
    }
    if (verbose)
	fprintf(stderr, "xorp_finder: listening on 127.0.0.1:%u\n",
		static_cast<unsigned>(finder.port()));
    while (xorp_do_run && !finder.shutdown_requested())
	eventloop.run();
    return 0;
}
