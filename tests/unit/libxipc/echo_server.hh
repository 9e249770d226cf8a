// A target built on the generated XrlEchoServerTargetBase, for the tests.

#ifndef TESTS_UNIT_LIBXIPC_ECHO_SERVER_HH
#define TESTS_UNIT_LIBXIPC_ECHO_SERVER_HH

#include <cerrno>

#include "xrl/targets/test_echo_base.hh"

class EchoServer : public XrlEchoServerTargetBase {
public:
    explicit EchoServer(XrlCmdMap* cmds = 0) : XrlEchoServerTargetBase(cmds) {}

    std::vector<std::string> calls;     // method names, in order
    int errno_at_ping = -1;

protected:
    XrlCmdError ping() override
    {
        errno_at_ping = errno;
        return record("ping");
    }

    XrlCmdError add(const int32_t& a, const int32_t& b, int32_t& sum) override
    {
        sum = a + b;
        return record("add");
    }

    XrlCmdError describe(const bool& flag, const IPv4& addr, const IPv4Net& net,
                         const IPv6& addr6, const IPv6Net& net6,
                         const uint64_t& big, const int64_t& small,
                         const vector<uint8_t>& blob, const string& label,
                         string& text) override
    {
        text = string(flag ? "true" : "false") + " " + addr.str() + " "
            + net.str() + " " + addr6.str() + " " + net6.str() + " "
            + std::to_string(big) + " " + std::to_string(small) + " "
            + std::to_string(blob.size()) + " " + label;
        return record("describe");
    }

    XrlCmdError sum_list(const XrlAtomList& values, uint32_t& total,
                         uint32_t& count) override
    {
        for (size_t i = 0; i < values.size(); i++)
            total += values.get(i).uint32();
        count = static_cast<uint32_t>(values.size());
        return record("sum_list");
    }

    XrlCmdError maybe(const bool& set, string& value) override
    {
        if (set)
            value = "set";
        return record("maybe");
    }

    XrlCmdError fail(const string& reason) override
    {
        record("fail");
        return XrlCmdError::COMMAND_FAILED(reason);
    }

    XrlCmdError keywords(const string& class_arg, const uint32_t& cb_arg,
                         string& delete_arg) override
    {
        delete_arg = class_arg + std::to_string(cb_arg);
        return record("keywords");
    }

    XrlCmdError test_events_0_1_ping() override { return record("events ping"); }

    XrlCmdError test_events_0_1_notify(const string& what) override
    {
        return record("events notify " + what);
    }

private:
    XrlCmdError record(const std::string& call)
    {
        calls.push_back(call);
        return XrlCmdError::OKAY();
    }
};

#endif  // TESTS_UNIT_LIBXIPC_ECHO_SERVER_HH
