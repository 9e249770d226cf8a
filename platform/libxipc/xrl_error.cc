#include "libxipc/xrl_error.hh"

namespace {

struct CodeText {
    XrlErrorCode code;
    const char*  text;
};

const CodeText kCodeTexts[] = {
    { OKAY,                  "Okay" },
    { BAD_ARGS,              "Bad argument(s)" },
    { COMMAND_FAILED,        "Command failed" },
    { NO_FINDER,             "Finder not present/ready" },
    { RESOLVE_FAILED,        "Resolve failed" },
    { NO_SUCH_METHOD,        "No such method" },
    { SEND_FAILED,           "Transport failed" },
    { REPLY_TIMED_OUT,       "Reply timed out" },
    { SEND_FAILED_TRANSIENT, "Transient transport failure" },
    { INTERNAL_ERROR,        "Internal error" },
};

}  // namespace

const char*
XrlError::error_msg(uint32_t code)
{
    for (const CodeText& ct : kCodeTexts) {
        if (ct.code == code)
            return ct.text;
    }
    return nullptr;
}

bool
XrlError::known_code(uint32_t code)
{
    return error_msg(code) != nullptr;
}

XrlError::XrlError()
    : _code(::OKAY)
{
}

XrlError::XrlError(XrlErrorCode code, const std::string& note)
    : _code(code), _note(note)
{
    if (!known_code(code)) {
        _code = ::INTERNAL_ERROR;
        _note = "Errorcode " + std::to_string(static_cast<uint32_t>(code))
            + " unknown";
        if (!note.empty())
            _note += " " + note;
    }
}

const char*
XrlError::error_msg() const
{
    return error_msg(_code);
}

std::string
XrlError::str() const
{
    std::string s = std::to_string(static_cast<uint32_t>(_code)) + " "
        + error_msg();
    if (!_note.empty())
        s += " " + _note;
    return s;
}

#define XRL_ERROR_STATIC(name)                          \
    const XrlError& XrlError::name()                    \
    {                                                   \
        static const XrlError e(::name);                \
        return e;                                       \
    }

XRL_ERROR_STATIC(OKAY)
XRL_ERROR_STATIC(BAD_ARGS)
XRL_ERROR_STATIC(COMMAND_FAILED)
XRL_ERROR_STATIC(NO_FINDER)
XRL_ERROR_STATIC(RESOLVE_FAILED)
XRL_ERROR_STATIC(NO_SUCH_METHOD)
XRL_ERROR_STATIC(SEND_FAILED)
XRL_ERROR_STATIC(REPLY_TIMED_OUT)
XRL_ERROR_STATIC(SEND_FAILED_TRANSIENT)
XRL_ERROR_STATIC(INTERNAL_ERROR)

#undef XRL_ERROR_STATIC

const XrlCmdError&
XrlCmdError::OKAY()
{
    static const XrlCmdError ok(XrlError::OKAY());
    return ok;
}

const XrlCmdError
XrlCmdError::BAD_ARGS(const std::string& reason)
{
    return XrlCmdError(XrlError(::BAD_ARGS, reason));
}

const XrlCmdError
XrlCmdError::COMMAND_FAILED(const std::string& reason)
{
    return XrlCmdError(XrlError(::COMMAND_FAILED, reason));
}
