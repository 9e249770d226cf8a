// LoginException: how an operation of LoginMain reports a failure.

#ifndef LOGIN_CORE_LOGIN_EXCEPTION_HH
#define LOGIN_CORE_LOGIN_EXCEPTION_HH

#include <cstddef>
#include <string>

#include "libxorp/exceptions.hh"

// Carries the raise site (file and line) and a reason; the reason is either
// a text of the operation's own or the strerror() text of a failed check.
class LoginException : public XorpReasonedException {
public:
    LoginException(const char* file, size_t line, const std::string& reason)
        : XorpReasonedException("LoginException", file, line, reason) {}
};

#endif // LOGIN_CORE_LOGIN_EXCEPTION_HH
