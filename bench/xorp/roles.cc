// The XORP side of bench_xrl: the same roles as its own (target, client,
// counted calls), written against real XORP's public API and linked with
// its libraries, so that both sides are measured in the same run.
//
//   xorp_bench_roles --target FINDER_PORT
//   xorp_bench_roles --client FINDER_PORT N FINDER_PID
//   xorp_bench_roles --calls FINDER_PORT N      (N calls one at a time)
//
// Listeners are STCP over TCP (XORP_PF=t), the transport ours speaks.

#define XORP_MODULE_NAME "BENCH"
#define XORP_MODULE_VERSION "0.1"

#include <signal.h>

#include <cstdlib>
#include <cstring>

#include "libxorp/xorp.h"
#include "libxorp/eventloop.hh"
#include "libxorp/xlog.h"
#include "libxipc/xrl_std_router.hh"
#include "xrl/interfaces/common_xif.hh"

#include "../xrl/round_trips.hh"

namespace {

const XrlCmdError
get_status(const XrlArgs&, XrlArgs* out)
{
    out->add("status", uint32_t(3));
    out->add("reason", string("Running"));
    return XrlCmdError::OKAY();
}

int
run_target(uint16_t port)
{
    EventLoop e;
    XrlStdRouter r(e, bench::kTarget, "127.0.0.1", port, false);
    XrlRecvSyncCallback cb = callback(&get_status);
    r.add_handler("common/0.1/get_status", cb);
    r.finalize();
    setup_dflt_sighandlers();	// SIGTERM ends it
    while (xorp_do_run)
	e.run();
    return 0;
}

class Client : public bench::Driver<Client> {
public:
    Client(EventLoop& e, XrlRouter& r) : _e(e), _c(&r) {}

private:
    friend class bench::Driver<Client>;
    bool send() {
	return _c.send_get_status(bench::kTarget,
				  callback(this, &Client::answered));
    }
    void turn() { _e.run(); }
    void pause() {
	bool t = false;
	XorpTimer w = _e.set_flag_after(TimeVal(0, 10000), &t);
	while (!t)
	    _e.run();
    }
    void answered(const XrlError& err, const uint32_t* status,
		  const string* reason) {
	_rt.answer(err == XrlError::OKAY() && status != NULL && reason != NULL,
		   [this] { return send(); });
    }

    EventLoop&		_e;
    XrlCommonV0p1Client	_c;
};

int
run_client(uint16_t port, uint32_t n, pid_t finder, bool report)
{
    EventLoop e;
    XrlStdRouter r(e, "bench_client", "127.0.0.1", port, false);
    r.finalize();
    while (!r.ready() && !r.failed())
	e.run();
    Client c(e, r);
    return r.ready() ? c.measure(n, finder, report) : 1;
}

}  // namespace

int
main(int argc, char** argv)
{
    signal(SIGPIPE, SIG_IGN);
    setenv("XORP_PF", "t", 1);
    xlog_init(argv[0], NULL);
    xlog_set_verbose(XLOG_VERBOSE_LOW);
    xlog_add_default_output();
    xlog_start();
    int rc = 2;
    if (argc == 3 && strcmp(argv[1], "--target") == 0)
	rc = run_target(static_cast<uint16_t>(atoi(argv[2])));
    else if (argc == 5 && strcmp(argv[1], "--client") == 0)
	rc = run_client(static_cast<uint16_t>(atoi(argv[2])),
			static_cast<uint32_t>(atoi(argv[3])),
			static_cast<pid_t>(atoi(argv[4])), true);
    else if (argc == 4 && strcmp(argv[1], "--calls") == 0)
	rc = run_client(static_cast<uint16_t>(atoi(argv[2])),
			static_cast<uint32_t>(atoi(argv[3])), 0, false);
    xlog_stop();
    xlog_exit();
    return rc;
}
