#include "libxipc/xrl_args_packing.hh"

#include <algorithm>
#include <unordered_set>

namespace {
const uint8_t kCheckCode = 0xcc;
const uint32_t kMaxCount = 0xffffff;
}

void
xrl_args_pack(std::string& out, const XrlArgs& args, const std::string* head)
{
    uint32_t count = static_cast<uint32_t>(args.size()) + (head ? 1 : 0);
    out += static_cast<char>(kCheckCode);
    out += static_cast<char>((count >> 16) & 0xff);
    out += static_cast<char>((count >> 8) & 0xff);
    out += static_cast<char>(count & 0xff);
    if (head != NULL) {
	uint32_t n = static_cast<uint32_t>(head->size());
	const char h[5] = { 0x48, char(n >> 24), char(n >> 16), char(n >> 8),
			    char(n) };
	out.append(h, 5);
	out += *head;
    }
    for (const XrlAtom& a : args)
	a.pack(out);
}

bool
xrl_args_unpack(const uint8_t* p, size_t n, XrlArgs& args, std::string* head)
{
    if (n < 4 || p[0] != kCheckCode)
	return false;
    uint32_t count = (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
    if (count > kMaxCount)
	return false;
    const uint8_t* end = p + n;
    p += 4;
    args.clear();
    // Names seen so far, for the duplicate check: a plain scan while there
    // are few, as in nearly every message.
    const uint32_t kScan = 16;
    std::unordered_set<std::string> names;
    args._args.reserve(std::min(count, kScan));
    for (uint32_t i = 0; i < count; i++) {
	XrlAtom atom;
	size_t used = XrlAtom::unpack(p, end - p, atom);
	if (used == 0)
	    return false;
	p += used;
	if (head != NULL && i == 0) {
	    if (!atom.name().empty() || atom.type() != xrlatom_text
		|| !atom.has_data())
		return false;
	    *head = atom.text();
	    continue;
	}
	if (args._args.size() < kScan) {
	    if (args.find(atom.name()) != NULL)
		return false;
	} else {
	    if (names.empty())
		for (const XrlAtom& a : args._args)
		    names.insert(a.name());
	    if (!names.insert(atom.name()).second)
		return false;
	}
	args._args.push_back(std::move(atom));
    }
    return p == end && (head == NULL || count > 0);
}
