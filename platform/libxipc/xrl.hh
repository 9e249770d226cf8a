// Xrl: a call "protocol://target/interface/version/method?args" and its text.

#ifndef __LIBXIPC_XRL_HH__
#define __LIBXIPC_XRL_HH__

#include "libxorp/xorp.h"
#include "libxorp/exceptions.hh"
#include "libxipc/xrl_args.hh"

class Xrl {
public:
    Xrl() : _protocol("finder") {}
    Xrl(const std::string& target, const std::string& command,
        const XrlArgs& args = XrlArgs());
    Xrl(const char* target, const char* command);

    // Parses the textual form; "protocol://" is optional ("finder" is then
    // assumed). The command must be interface/version/method. Throws
    // InvalidString on any fault, naming it.
    explicit Xrl(const char* xrl_text);

    const std::string& protocol() const { return _protocol; }
    const std::string& target() const { return _target; }
    const std::string& command() const { return _command; }  // iface/ver/method
    const XrlArgs& args() const { return _args; }
    XrlArgs& args() { return _args; }

    // Pieces of the command, "" when the command does not have that shape.
    std::string interface_name() const;
    std::string version() const;
    std::string method_name() const;

    // "finder://target/iface/ver/method" with "?args" when there are any.
    std::string str() const;
    std::string string_no_args() const;

    bool operator==(const Xrl& other) const;
    bool operator!=(const Xrl& other) const { return !(*this == other); }

    // Syntax checks used by the parser.
    static bool valid_target(const std::string& target);
    static bool valid_command(const std::string& command);

private:
    std::string _protocol;
    std::string _target;
    std::string _command;
    XrlArgs     _args;
};

#endif // __LIBXIPC_XRL_HH__
