#include "libxipc/xrl_args_packing.hh"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>
#include <unordered_set>

namespace {
const uint8_t kCheckCode = 0xcc;
const uint32_t kMaxCount = 0xffffff;
}

void
xrl_args_pack(std::string& out, const XrlArgs& args, const std::string* head)
{
    uint32_t count = static_cast<uint32_t>(args.size()) + (head ? 1 : 0);
    uint32_t n = head ? static_cast<uint32_t>(head->size()) : 0;
    const char h[9] = { char(kCheckCode), char(count >> 16), char(count >> 8),
			char(count), 0x48, char(n >> 24), char(n >> 16),
			char(n >> 8), char(n) };
    out.append(h, head ? 9 : 4);
    if (head != NULL)
	out += *head;
    for (const XrlAtom& a : args)
	a.pack(out);
}

namespace {

// The head of a request: an atom without a name (or with an empty one),
// of type text, with data.  Its text goes straight into `head`, unless
// `head` holds it already (the same method called again).
size_t
unpack_head(const uint8_t* p, size_t n, std::string& head, bool& kept)
{
    const uint8_t kNamed = 0x80, kData = 0x40;
    size_t at = 1;
    if (n < 1 || (p[0] & ~kNamed) != (kData | xrlatom_text))
	return 0;
    if (p[0] & kNamed) {
	if (n < 3 || p[1] != 0 || p[2] != 0)
	    return 0;
	at = 3;
    }
    if (n - at < 4)
	return 0;
    uint32_t len = (uint32_t(p[at]) << 24) | (uint32_t(p[at + 1]) << 16)
	| (uint32_t(p[at + 2]) << 8) | p[at + 3];
    at += 4;
    if (n - at < len)
	return 0;
    kept = head.size() == len && memcmp(head.data(), p + at, len) == 0;
    if (!kept)
	head.assign(reinterpret_cast<const char*>(p + at), len);
    return at + len;
}

// Fills atoms [0, filled) from the front; atoms past them are left.
bool
unpack_atoms(const uint8_t* p, size_t n, std::vector<XrlAtom>& atoms,
	     std::string* head, bool& kept, size_t& filled)
{
    if (n < 4 || p[0] != kCheckCode)
	return false;
    uint32_t count = (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
    if (count > kMaxCount)
	return false;
    const uint8_t* end = p + n;
    p += 4;
    if (head != NULL) {
	size_t used = count == 0 ? 0 : unpack_head(p, end - p, *head, kept);
	if (used == 0)
	    return false;
	p += used;
	count--;
    }
    // Atoms already there (an XrlArgs reused for each message) are filled
    // again in place.  Names seen so far, for the duplicate check: a plain
    // scan while there are few, as in nearly every message.
    const uint32_t kScan = 16;
    std::unique_ptr<std::unordered_set<std::string> > names;
    filled = 0;
    for (uint32_t i = 0; i < count; i++) {
	if (filled == atoms.size())
	    atoms.emplace_back();
	XrlAtom& atom = atoms[filled];
	size_t used = XrlAtom::unpack(p, end - p, atom);
	if (used == 0)
	    return false;
	p += used;
	if (filled < kScan) {
	    for (size_t k = 0; k < filled; k++)
		if (atoms[k].name() == atom.name())
		    return false;
	} else {
	    if (!names) {
		names.reset(new std::unordered_set<std::string>);
		for (size_t k = 0; k < filled; k++)
		    names->insert(atoms[k].name());
	    }
	    if (!names->insert(atom.name()).second)
		return false;
	}
	filled++;
    }
    return p == end;
}

}  // namespace

bool
xrl_args_unpack(const uint8_t* p, size_t n, XrlArgs& args, std::string* head,
		bool* head_kept)
{
    bool kept = false;
    size_t filled = 0;
    bool ok = unpack_atoms(p, n, args._args, head, kept, filled);
    if (head_kept != NULL)
	*head_kept = ok && kept;
    if (!ok) {
	args.clear();
	return false;
    }
    args._n = filled;
    if (args._args.size() > std::max(filled, XrlArgs::kSpare))
	args.drop_spare();
    return true;
}
