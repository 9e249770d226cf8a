#include "libxorp/exceptions.hh"

#include "libxorp/c_format.hh"

XorpException::XorpException(const char* init_what, const char* file, size_t line)
    : _what(init_what), _file(file), _line(line)
{
}

XorpException::~XorpException() = default;

const std::string XorpException::where() const
{
    return c_format("line %u of %s", static_cast<unsigned>(_line), _file);
}

const std::string XorpException::why() const
{
    return "Not specified";
}

std::string XorpException::str() const
{
    return what() + " from " + where() + ": " + why();
}

XorpReasonedException::XorpReasonedException(const char* init_what, const char* file,
                                             size_t line, const std::string& init_why)
    : XorpException(init_what, file, line), _why(init_why)
{
}

const std::string XorpReasonedException::why() const
{
    return _why.empty() ? std::string("Not specified") : _why;
}

InvalidFamily::InvalidFamily(const char* file, size_t line, int af)
    : XorpException("XorpInvalidFamily", file, line), _af(af)
{
}

const std::string InvalidFamily::why() const
{
    return c_format("Unknown IP family - %d", _af);
}

InvalidNetmaskLength::InvalidNetmaskLength(const char* file, size_t line, int netmask_length)
    : XorpException("XorpInvalidNetmaskLength", file, line), _netmask_length(netmask_length)
{
}

const std::string InvalidNetmaskLength::why() const
{
    return c_format("Invalid netmask length - %d", _netmask_length);
}
