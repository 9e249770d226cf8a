#include "libxipc/xrl.hh"

namespace {

const char kProtocolSep[] = "://";

bool
is_word_char(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')
        || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

bool
is_word(const std::string& s)
{
    if (s.empty())
        return false;
    for (char c : s) {
        if (!is_word_char(c))
            return false;
    }
    return true;
}

// "M.m": digits, one dot, digits.
bool
is_version(const std::string& s)
{
    size_t dot = s.find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == s.size())
        return false;
    for (size_t i = 0; i < s.size(); i++) {
        if (i != dot && (s[i] < '0' || s[i] > '9'))
            return false;
    }
    return true;
}

std::vector<std::string>
split(const std::string& s, char sep)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t pos = s.find(sep, start);
        parts.push_back(s.substr(start, pos == std::string::npos
                                 ? std::string::npos : pos - start));
        if (pos == std::string::npos)
            return parts;
        start = pos + 1;
    }
}

}  // namespace

Xrl::Xrl(const std::string& target, const std::string& command,
         const XrlArgs& args)
    : _protocol("finder"), _target(target), _command(command), _args(args)
{
}

Xrl::Xrl(const char* target, const char* command)
    : _protocol("finder"), _target(target), _command(command)
{
}

Xrl::Xrl(const char* xrl_text)
    : _protocol("finder")
{
    std::string s(xrl_text);
    std::string rest = s;
    size_t sep = s.find(kProtocolSep);
    size_t slash = s.find('/');
    if (sep != std::string::npos && sep < slash) {
        _protocol = s.substr(0, sep);
        if (!is_word(_protocol))
            xorp_throw(InvalidString, "bad protocol in XRL \"" + s + "\"");
        rest = s.substr(sep + sizeof(kProtocolSep) - 1);
    }

    size_t question = rest.find('?');
    std::string path = rest.substr(0, question);
    slash = path.find('/');
    if (slash == std::string::npos)
        xorp_throw(InvalidString, "no command in XRL \"" + s + "\"");
    _target = path.substr(0, slash);
    _command = path.substr(slash + 1);
    if (!valid_target(_target))
        xorp_throw(InvalidString, "bad target in XRL \"" + s + "\"");
    if (!valid_command(_command)) {
        xorp_throw(InvalidString, "bad command \"" + _command
                   + "\" (expected interface/version/method) in XRL \""
                   + s + "\"");
    }

    if (question != std::string::npos) {
        try {
            _args = XrlArgs(rest.c_str() + question + 1);
        } catch (const InvalidString& e) {
            xorp_throw(InvalidString, e.why() + " in XRL \"" + s + "\"");
        }
    }
}

bool
Xrl::valid_target(const std::string& target)
{
    // Class names are words; instance names add '@', '.' and ':'.
    if (target.empty())
        return false;
    for (char c : target) {
        if (!is_word_char(c) && c != '@' && c != '.' && c != ':')
            return false;
    }
    return true;
}

bool
Xrl::valid_command(const std::string& command)
{
    std::vector<std::string> parts = split(command, '/');
    return parts.size() == 3 && is_word(parts[0]) && is_version(parts[1])
        && is_word(parts[2]);
}

std::string
Xrl::interface_name() const
{
    return valid_command(_command) ? split(_command, '/')[0] : "";
}

std::string
Xrl::version() const
{
    return valid_command(_command) ? split(_command, '/')[1] : "";
}

std::string
Xrl::method_name() const
{
    return valid_command(_command) ? split(_command, '/')[2] : "";
}

std::string
Xrl::string_no_args() const
{
    return _protocol + kProtocolSep + _target + "/" + _command;
}

std::string
Xrl::str() const
{
    std::string s = string_no_args();
    if (!_args.empty())
        s += "?" + _args.str();
    return s;
}

bool
Xrl::operator==(const Xrl& other) const
{
    return _protocol == other._protocol && _target == other._target
        && _command == other._command && _args == other._args;
}
