// -*- c++ -*-
// XORP's exception classes. Not derived from std::exception: catch them by
// their own types. str() = what() + " from " + where() + ": " + why().
#ifndef LIBXORP_EXCEPTIONS_HH
#define LIBXORP_EXCEPTIONS_HH

#include <cstddef>
#include <string>

// Throws Class(__FILE__, __LINE__, args...).
#define xorp_throw(_class, ...) throw _class(__FILE__, __LINE__, ##__VA_ARGS__)
#define xorp_throw0(_class) throw _class(__FILE__, __LINE__)

class XorpException {
public:
    XorpException(const char* init_what, const char* file, size_t line);
    virtual ~XorpException();

    // The class name given at construction.
    const std::string& what() const { return _what; }
    // "line <N> of <file>".
    const std::string where() const;
    virtual const std::string why() const;
    std::string str() const;

protected:
    std::string _what;
    const char* _file;
    size_t _line;
};

class XorpReasonedException : public XorpException {
public:
    XorpReasonedException(const char* init_what, const char* file, size_t line,
                          const std::string& init_why);
    // The reason, or "Not specified" when it is empty.
    const std::string why() const override;

protected:
    std::string _why;
};

#define XORP_REASONED_EXCEPTION(_name, _what)                                  \
    struct _name : public XorpReasonedException {                              \
        _name(const char* file, size_t line, const std::string& init_why = "") \
            : XorpReasonedException(_what, file, line, init_why) {}            \
    }

XORP_REASONED_EXCEPTION(InvalidString, "InvalidString");
XORP_REASONED_EXCEPTION(InvalidAddress, "InvalidAddress");
XORP_REASONED_EXCEPTION(InvalidPort, "InvalidPort");
XORP_REASONED_EXCEPTION(InvalidCast, "XorpCast");
XORP_REASONED_EXCEPTION(InvalidBufferOffset, "InvalidBufferOffset");
XORP_REASONED_EXCEPTION(InvalidPacket, "InvalidPacket");

// An address family number that is neither AF_INET nor AF_INET6.
class InvalidFamily : public XorpException {
public:
    InvalidFamily(const char* file, size_t line, int af);
    const std::string why() const override;

protected:
    int _af;
};

// A prefix length too long for the address type.
class InvalidNetmaskLength : public XorpException {
public:
    InvalidNetmaskLength(const char* file, size_t line, int netmask_length);
    const std::string why() const override;
    int netmask_length() const { return _netmask_length; }

protected:
    int _netmask_length;
};

#endif  // LIBXORP_EXCEPTIONS_HH
