#include "libxipc/xrl_arg_check.hh"

namespace {

std::string
spec_item_str(const XrlArgSpec& s)
{
    std::string t = std::string(s.name) + ":" + xrlatom_type_name(s.type);
    if (s.type == xrlatom_list && s.item_type != xrlatom_no_type)
        t += std::string("<") + xrlatom_type_name(s.item_type) + ">";
    return t;
}

}  // namespace

std::string
xrl_spec_str(const XrlArgSpec* spec, size_t count)
{
    if (count == 0)
        return "no arguments";
    std::string s;
    for (size_t i = 0; i < count; i++) {
        if (i)
            s += " & ";
        s += spec_item_str(spec[i]);
    }
    return s;
}

std::string
xrl_check_args(const XrlArgs& args, const XrlArgSpec* spec, size_t count)
{
    std::vector<std::string> problems;
    for (size_t i = 0; i < count; i++) {
        const XrlArgSpec& s = spec[i];
        const XrlAtom* a = args.find(s.name);
        if (a == nullptr) {
            problems.push_back(std::string("missing ") + s.name);
        } else if (a->type() != s.type) {
            problems.push_back(std::string(s.name) + " is " + a->type_name());
        } else if (!a->has_data()) {
            problems.push_back(std::string(s.name) + " has no value");
        } else if (s.type == xrlatom_list && s.item_type != xrlatom_no_type) {
            const XrlAtomList& l = a->list();
            if (l.size() != 0 && l.get(0).type() != s.item_type) {
                problems.push_back(std::string(s.name) + " holds "
                                   + l.get(0).type_name());
            }
        }
    }
    for (const XrlAtom& a : args) {
        bool declared = false;
        for (size_t i = 0; i < count && !declared; i++)
            declared = a.name() == spec[i].name;
        if (!declared)
            problems.push_back("unexpected " + a.name() + ":" + a.type_name());
    }
    if (problems.empty())
        return "";

    std::string note = "expected " + xrl_spec_str(spec, count) + "; ";
    for (size_t i = 0; i < problems.size(); i++) {
        if (i)
            note += ", ";
        note += problems[i];
    }
    return note;
}
