#include "libxipc/xrl_cmd_map.hh"

#include <cerrno>

XrlCmdMap::XrlCmdMap(const std::string& name)
    : _name(name), _finalized(false)
{
}

XrlCmdMap::~XrlCmdMap()
{
}

bool
XrlCmdMap::add_handler(const std::string& cmd, const XrlRecvSyncCallback& cb)
{
    if (cb.is_empty() || _cmds.count(cmd) != 0)
        return false;
    _cmds.emplace(cmd, XrlCmdEntry(cmd, cb));
    _generation++;
    return true;
}

bool
XrlCmdMap::remove_handler(const std::string& cmd)
{
    if (_cmds.erase(cmd) == 0)
        return false;
    _generation++;
    return true;
}

const XrlCmdEntry*
XrlCmdMap::get_handler(const std::string& cmd) const
{
    auto it = _cmds.find(cmd);
    return it == _cmds.end() ? nullptr : &it->second;
}

void
XrlCmdMap::get_command_names(std::list<std::string>& names) const
{
    names.clear();
    for (const auto& kv : _cmds)
        names.push_back(kv.first);
}

void
XrlCmdMap::finalize()
{
    _finalized = true;
}

XrlError
XrlCmdMap::dispatch(const std::string& command, const XrlArgs& in,
                    XrlArgs* out) const
{
    const XrlCmdEntry* entry = get_handler(command);
    if (entry == nullptr) {
        if (out != nullptr)
            out->clear();
        return XrlError(NO_SUCH_METHOD, command);
    }
    return dispatch(*entry, in, out);
}

XrlError
XrlCmdMap::dispatch(const XrlCmdEntry& entry, const XrlArgs& in,
                    XrlArgs* out) const
{
    if (out == nullptr) {
        XrlArgs scratch;
        return dispatch(entry, in, &scratch);
    }
    out->clear();
    // Keep the callback alive even if the handler removes itself.
    XrlRecvSyncCallback cb = entry.callback();
    errno = 0;                  // handlers see only what their own calls set
    XrlError result = cb->dispatch(in, out);
    if (!result.isOK())
        out->clear();
    return result;
}

XrlError
XrlCmdMap::dispatch(const Xrl& xrl, XrlArgs* out) const
{
    return dispatch(xrl.command(), xrl.args(), out);
}
