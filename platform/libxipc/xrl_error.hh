// Result codes of XRL calls: XrlError for callers, XrlCmdError for handlers.

#ifndef __LIBXIPC_XRL_ERROR_HH__
#define __LIBXIPC_XRL_ERROR_HH__

#include "libxorp/xorp.h"

// Global on purpose: daemons write `case COMMAND_FAILED:` in switches.
// The fixed underlying type makes any 32-bit code from the wire a valid value.
enum XrlErrorCode : uint32_t {
    OKAY                  = 100,
    BAD_ARGS              = 101,
    COMMAND_FAILED        = 102,
    NO_FINDER             = 200,
    RESOLVE_FAILED        = 201,
    NO_SUCH_METHOD        = 202,
    SEND_FAILED           = 210,
    REPLY_TIMED_OUT       = 211,
    SEND_FAILED_TRANSIENT = 212,
    INTERNAL_ERROR        = 220
};

class XrlError {
public:
    XrlError();                                  // OKAY
    XrlError(XrlErrorCode code, const std::string& note = "");

    static const XrlError& OKAY();
    static const XrlError& BAD_ARGS();
    static const XrlError& COMMAND_FAILED();
    static const XrlError& NO_FINDER();
    static const XrlError& RESOLVE_FAILED();
    static const XrlError& NO_SUCH_METHOD();
    static const XrlError& SEND_FAILED();
    static const XrlError& REPLY_TIMED_OUT();
    static const XrlError& SEND_FAILED_TRANSIENT();
    static const XrlError& INTERNAL_ERROR();

    XrlErrorCode error_code() const { return _code; }
    const char* error_msg() const;
    const std::string& note() const { return _note; }
    bool isOK() const { return _code == ::OKAY; }

    // "<code> <message>", followed by " <note>" when there is a note.
    std::string str() const;

    static bool known_code(uint32_t code);
    static const char* error_msg(uint32_t code);  // nullptr for unknown codes

private:
    XrlErrorCode _code;
    std::string  _note;
};

// Errors compare by code only, as the note is free text.
inline bool operator==(const XrlError& a, const XrlError& b)
{
    return a.error_code() == b.error_code();
}
inline bool operator!=(const XrlError& a, const XrlError& b)
{
    return a.error_code() != b.error_code();
}

// What a handler may answer: success, bad arguments, or a failed command.
class XrlCmdError {
public:
    static const XrlCmdError& OKAY();
    static const XrlCmdError BAD_ARGS(const std::string& reason = "");
    static const XrlCmdError COMMAND_FAILED(const std::string& reason = "");

    operator XrlError() const { return _error; }
    const XrlError& xrl_error() const { return _error; }
    XrlErrorCode error_code() const { return _error.error_code(); }
    const std::string& note() const { return _error.note(); }
    bool isOK() const { return _error.isOK(); }
    std::string str() const { return "XrlCmdError " + _error.str(); }

private:
    explicit XrlCmdError(const XrlError& e) : _error(e) {}
    XrlError _error;
};

#endif // __LIBXIPC_XRL_ERROR_HH__
