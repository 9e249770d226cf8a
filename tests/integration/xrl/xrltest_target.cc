// xrltest_target: a process built on a generated target base, answering
// common/0.1 through the finder until it is told to shut down.

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/eventloop.hh"
#include "libxipc/xrl_std_router.hh"
#include "xrl/targets/xrltest_base.hh"

namespace {

class XrlTestTarget : public XrlXrltestTargetBase {
public:
    explicit XrlTestTarget(XrlStdRouter& r)
	: XrlXrltestTargetBase(&r), _running(true) {}
    bool running() const { return _running; }

protected:
    XrlCmdError get_target_name(string& name) {
	name = "xrltest";
	return XrlCmdError::OKAY();
    }
    XrlCmdError get_version(string& version) {
	version = "0.1";
	return XrlCmdError::OKAY();
    }
    XrlCmdError get_status(uint32_t& status, string& reason) {
	status = 3;
	reason = "Running & well";
	return XrlCmdError::OKAY();
    }
    XrlCmdError shutdown() {
	_running = false;
	return XrlCmdError::OKAY();
    }
    XrlCmdError startup() {
	return XrlCmdError::OKAY();
    }

private:
    bool _running;
};

}  // namespace

int
main()
{
    EventLoop e;
    XrlStdRouter router(e, "xrltest", false);
    XrlTestTarget target(router);
    wait_until_xrl_router_is_ready(e, router);
    while (target.running())
	e.run();
    // Let the answer to shutdown leave before the connection closes.
    bool flushed = false;
    XorpTimer t = e.set_flag_after(TimeVal(0, 100000), &flushed);
    while (!flushed)
	e.run();
    return 0;
}
