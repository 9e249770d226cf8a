// xrl_peer: a stand-in for another process of the switch, for tests.
//
// Usage: xrl_peer --class NAME [--log FILE] [--fail METHOD=TEXT]...
//                 [--after METHOD] [--send XRL]...
// Registers class NAME and answers every XRL: OKAY, or COMMAND_FAILED with
// TEXT when METHOD (a method name, or iface/version/method) matches.  Each
// XRL received is appended to FILE as one line of canonical text.  Once
// registered it prints "ready <instance>", then sends each --send XRL in
// turn ("{self}" in it stands for its own instance name) and prints
// "<xrl> -> <error>[ <return values>]" for each.  With --after, the sends
// wait until an XRL matching METHOD (as for --fail) has been received, as a
// card manager sends states only to who registered for them.  Runs until
// killed.

#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "libxorp/eventloop.hh"
#include "libxorp/exceptions.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_std_router.hh"

namespace {

class Peer {
public:
    Peer(EventLoop& e, const std::string& cls, FILE* log)
	: _e(e), _cls(cls), _log(log), _router(e, cls.c_str(), false),
	  _answered(false) {
	_router.set_catch_all_handler(callback(this, &Peer::receive));
    }

    XrlStdRouter& router() { return _router; }
    void fail(const std::string& method, const std::string& text) {
	_fail[method] = text;
    }
    void after(const std::string& method) { _after = method; }
    bool after_seen() const { return _after.empty() || _after_seen; }

    // Sends one XRL and waits for its answer, printing it.
    void send(const std::string& text);

private:
    const XrlCmdError receive(const std::string& command, const XrlArgs& in,
			      XrlArgs* out);
    void answered(const XrlError& e, XrlArgs* a, std::string xrl);

    EventLoop&				_e;
    std::string				_cls;
    FILE*				_log;
    XrlStdRouter			_router;
    std::map<std::string, std::string>	_fail;
    std::string				_after;
    bool				_after_seen = false;
    bool				_answered;
};

const XrlCmdError
Peer::receive(const std::string& command, const XrlArgs& in, XrlArgs* out)
{
    UNUSED(out);
    if (_log != NULL) {
	std::string line = "finder://" + _cls + "/" + command;
	if (!in.empty())
	    line += "?" + in.str();
	fprintf(_log, "%s\n", line.c_str());
	fflush(_log);
    }
    size_t slash = command.rfind('/');
    std::string method = command.substr(slash == std::string::npos ? 0 : slash + 1);
    if (command == _after || method == _after)
	_after_seen = true;
    std::map<std::string, std::string>::const_iterator i = _fail.find(command);
    if (i == _fail.end())
	i = _fail.find(method);
    if (i != _fail.end())
	return XrlCmdError::COMMAND_FAILED(i->second);
    return XrlCmdError::OKAY();
}

void
Peer::answered(const XrlError& e, XrlArgs* a, std::string xrl)
{
    std::string line = xrl + " -> " + e.str();
    if (a != NULL && !a->empty())
	line += " " + a->str();
    printf("%s\n", line.c_str());
    fflush(stdout);
    _answered = true;
}

void
Peer::send(const std::string& text)
{
    std::string t = text;
    for (size_t p; (p = t.find("{self}")) != std::string::npos; )
	t.replace(p, 6, _router.instance_name());
    Xrl* xrl;
    try {
	xrl = new Xrl(t.c_str());
    } catch (const XorpException& ex) {
	printf("%s -> bad XRL: %s\n", t.c_str(), ex.str().c_str());
	fflush(stdout);
	return;
    }
    _answered = false;
    if (!_router.send(*xrl, callback(this, &Peer::answered, xrl->str()))) {
	printf("%s -> %s\n", xrl->str().c_str(),
	       XrlError::NO_FINDER().str().c_str());
	fflush(stdout);
	delete xrl;
	return;
    }
    delete xrl;
    while (!_answered && xorp_do_run)
	_e.run();
}

// -h: the usage on stdout, exit 0; a wrong option or argument: on stderr,
// exit 2.
void
usage(const char* argv0, int status = 2)
{
    fprintf(status == 0 ? stdout : stderr, "Usage: %s --class NAME "
	    "[--log FILE] [--fail METHOD=TEXT]... [--after METHOD] "
	    "[--send XRL]...\n", argv0);
    exit(status);
}

}  // namespace

int
main(int argc, char** argv)
{
    static const struct option opts[] = {
	{ "class", required_argument, NULL, 'c' },
	{ "log", required_argument, NULL, 'l' },
	{ "fail", required_argument, NULL, 'f' },
	{ "after", required_argument, NULL, 'a' },
	{ "send", required_argument, NULL, 's' },
	{ "help", no_argument, NULL, 'h' },
	{ NULL, 0, NULL, 0 }
    };
    std::string cls, log_path, after;
    std::vector<std::pair<std::string, std::string> > fails;
    std::vector<std::string> sends;
    int ch;
    while ((ch = getopt_long(argc, argv, "h", opts, NULL)) != -1) {
	switch (ch) {
	case 'c': cls = optarg; break;
	case 'l': log_path = optarg; break;
	case 'f': {
	    const char* eq = strchr(optarg, '=');
	    if (eq == NULL || eq == optarg)
		usage(argv[0]);
	    fails.push_back(std::make_pair(std::string(optarg, eq - optarg),
					   std::string(eq + 1)));
	    break;
	}
	case 'a': after = optarg; break;
	case 's': sends.push_back(optarg); break;
	case 'h': usage(argv[0], 0); break;
	default: usage(argv[0]);
	}
    }
    if (cls.empty() || optind != argc)
	usage(argv[0]);

    FILE* log = NULL;
    if (!log_path.empty()) {
	log = fopen(log_path.c_str(), "a");
	if (log == NULL) {
	    fprintf(stderr, "xrl_peer: cannot open %s: %s\n", log_path.c_str(),
		    strerror(errno));
	    return 1;
	}
    }

    setup_dflt_sighandlers();
    EventLoop e;
    Peer peer(e, cls, log);
    for (size_t i = 0; i < fails.size(); i++)
	peer.fail(fails[i].first, fails[i].second);
    peer.after(after);
    peer.router().finalize();
    while (!peer.router().ready() && !peer.router().failed() && xorp_do_run)
	e.run();
    if (!peer.router().ready()) {
	fprintf(stderr, "xrl_peer: no finder\n");
	return 1;
    }
    printf("ready %s\n", peer.router().instance_name().c_str());
    fflush(stdout);
    while (!peer.after_seen() && xorp_do_run)
	e.run();
    for (size_t i = 0; i < sends.size(); i++)
	peer.send(sends[i]);
    while (xorp_do_run)
	e.run();
    if (log != NULL)
	fclose(log);
    return 0;
}
