#!/usr/bin/env python3
"""Generates C++ XRL client stubs (.xif) and target bases (.tgt).

Input is XORP's interface language:

    #include "common.xif"
    /* comments */  // comments
    interface log/0.1 {
        set_logging_level ? level:txt;
        get_status -> status:u32 & reason:txt;
        register_card_state ? states:list<u32> & instance:txt;
    }
    target login implements common/0.1, login/0.1;

Usage:
    xif_gen.py client --out-dir DIR [-I DIR]... [--depfile F] file.xif
    xif_gen.py target --out-dir DIR [-I DIR]... [--prefixed IFACE]...
                      [--depfile F] file.tgt

Standard library only. Errors name the file and line and exit with status 1.
"""

import argparse
import os
import re
import sys


class GenError(Exception):
    pass


# xif type -> (C++ type, XrlAtomType, XrlArgs getter)
TYPES = {
    "i32": ("int32_t", "xrlatom_int32", "get_int32"),
    "u32": ("uint32_t", "xrlatom_uint32", "get_uint32"),
    "i64": ("int64_t", "xrlatom_int64", "get_int64"),
    "u64": ("uint64_t", "xrlatom_uint64", "get_uint64"),
    "bool": ("bool", "xrlatom_boolean", "get_bool"),
    "txt": ("string", "xrlatom_text", "get_string"),
    "ipv4": ("IPv4", "xrlatom_ipv4", "get_ipv4"),
    "ipv4net": ("IPv4Net", "xrlatom_ipv4net", "get_ipv4net"),
    "ipv6": ("IPv6", "xrlatom_ipv6", "get_ipv6"),
    "ipv6net": ("IPv6Net", "xrlatom_ipv6net", "get_ipv6net"),
    "binary": ("vector<uint8_t>", "xrlatom_binary", "get_binary"),
    "list": ("XrlAtomList", "xrlatom_list", "get_list"),
}

CPP_KEYWORDS = set("""
alignas alignof and and_eq asm auto bitand bitor bool break case catch char
char16_t char32_t class compl const constexpr const_cast continue decltype
default delete do double dynamic_cast else enum explicit export extern false
float for friend goto if inline int long mutable namespace new noexcept not
not_eq nullptr operator or or_eq private protected public register
reinterpret_cast return short signed sizeof static static_assert static_cast
struct switch template this thread_local throw true try typedef typeid
typename union unsigned using virtual void volatile wchar_t while xor xor_eq
""".split())

# Identifiers the generated code uses next to the declared names.
RESERVED_ARGS = {"cb", "dst_xrl_target_name"}
BASE_MEMBERS = {"get_name", "version", "set_command_map", "add_handlers",
                "remove_handlers"}


class Arg:
    def __init__(self, name, xtype, item_type, where):
        self.name = name
        self.xtype = xtype
        self.item_type = item_type
        self.where = where

    @property
    def cpp_type(self):
        return TYPES[self.xtype][0]

    @property
    def atom_type(self):
        return TYPES[self.xtype][1]

    @property
    def getter(self):
        return TYPES[self.xtype][2]

    @property
    def item_atom_type(self):
        return TYPES[self.item_type][1] if self.item_type else "xrlatom_no_type"

    @property
    def ident(self):
        # Declared names become C++ parameter names; keep them legal.
        if self.name in CPP_KEYWORDS or self.name in RESERVED_ARGS \
                or self.name.startswith("xrl_gen_"):
            return self.name + "_arg"
        return self.name

    def spec(self):
        t = self.xtype
        if self.item_type:
            t += "<%s>" % self.item_type
        return "%s:%s" % (self.name, t)


class Method:
    def __init__(self, name, inputs, outputs, where):
        self.name = name
        self.inputs = inputs
        self.outputs = outputs
        self.where = where

    @property
    def ident(self):
        return self.name.replace("-", "_")


class Interface:
    def __init__(self, name, version, where):
        self.name = name
        self.version = version
        self.methods = []
        self.where = where

    @property
    def key(self):
        return "%s/%s" % (self.name, self.version)

    def command(self, method):
        return "%s/%s/%s" % (self.name, self.version, method.name)

    def flat(self):
        """'finder_event_observer_0_1' as used in prefixed names."""
        return re.sub(r"[/.\-]", "_", self.key)


class Target:
    def __init__(self, name, implements, where):
        self.name = name
        self.implements = implements    # list of (name, version, where)
        self.where = where


# ---------------------------------------------------------------------------
# Reading: a small preprocessor, a tokenizer and a recursive-descent parser.

class Source:
    """Preprocessed text as (file, line, text) triples, plus the files read."""

    def __init__(self, include_dirs):
        self.include_dirs = include_dirs
        self.lines = []
        self.files = []
        self.defines = set()

    def find_include(self, name, from_dir, where):
        for d in [from_dir] + self.include_dirs:
            p = os.path.join(d, name)
            if os.path.isfile(p):
                return os.path.abspath(p)
        raise GenError("%s: cannot find include file \"%s\"" % (where, name))

    def read(self, path, stack=()):
        path = os.path.abspath(path)
        if path in stack:
            raise GenError("%s: recursive include" % path)
        if path not in self.files:
            self.files.append(path)
        try:
            with open(path, encoding="utf-8") as f:
                text = f.read()
        except OSError as e:
            raise GenError("%s: %s" % (path, e.strerror))
        text = strip_comments(text, path)
        lines = text.split("\n")
        active = [True]         # conditional stack (#ifdef/#ifndef/#else)
        i = 0
        while i < len(lines):
            lineno = i + 1
            line = lines[i]
            while line.endswith("\\") and i + 1 < len(lines):
                i += 1
                line = line[:-1] + lines[i]
            i += 1
            where = "%s:%d" % (path, lineno)
            stripped = line.strip()
            if stripped.startswith("#"):
                self.directive(stripped, where, path, stack, active)
            elif all(active):
                self.lines.append((path, lineno, line))
        if len(active) != 1:
            raise GenError("%s: unterminated #if" % path)

    def directive(self, text, where, path, stack, active):
        m = re.match(r"#\s*(\w+)\s*(.*)$", text)
        if not m:
            raise GenError("%s: bad directive %r" % (where, text))
        word, rest = m.group(1), m.group(2).strip()
        if word in ("ifdef", "ifndef"):
            active.append((rest in self.defines) == (word == "ifdef"))
        elif word == "else":
            if len(active) == 1:
                raise GenError("%s: #else without #if" % where)
            active[-1] = not active[-1]
        elif word == "endif":
            if len(active) == 1:
                raise GenError("%s: #endif without #if" % where)
            active.pop()
        elif not all(active):
            return
        elif word == "define":
            self.defines.add(rest.split()[0] if rest else "")
        elif word == "include":
            m = re.match(r'["<]([^">]+)[">]$', rest)
            if not m:
                raise GenError("%s: bad #include %r" % (where, rest))
            inc = self.find_include(m.group(1), os.path.dirname(path), where)
            self.read(inc, stack + (path,))
        else:
            raise GenError("%s: unsupported directive #%s" % (where, word))


def strip_comments(text, path):
    """Blanks out /* */ and // comments, keeping line numbers."""
    out = []
    i = 0
    n = len(text)
    while i < n:
        if text.startswith("/*", i):
            end = text.find("*/", i + 2)
            if end < 0:
                raise GenError("%s: unterminated comment" % path)
            out.append("\n" * text.count("\n", i, end))
            i = end + 2
        elif text.startswith("//", i):
            end = text.find("\n", i)
            i = n if end < 0 else end
        else:
            out.append(text[i])
            i += 1
    return "".join(out)


TOKEN_RE = re.compile(r"""
    (?P<space>\s+)
  | (?P<arrow>->)
  | (?P<version>\d+\.\d+(?![\w.]))
  | (?P<word>[A-Za-z0-9_]+(?:-[A-Za-z0-9_]+)*)
  | (?P<punct>[{};?&:/,<>])
""", re.VERBOSE)


def tokenize(source):
    tokens = []
    for path, lineno, line in source.lines:
        pos = 0
        while pos < len(line):
            m = TOKEN_RE.match(line, pos)
            if not m:
                raise GenError("%s:%d: unexpected %r" % (path, lineno,
                                                         line[pos:pos + 10]))
            pos = m.end()
            kind = m.lastgroup
            if kind == "space":
                continue
            value = m.group(kind)
            tokens.append((kind if kind != "punct" else value, value,
                           "%s:%d" % (path, lineno)))
    tokens.append(("eof", "", "end of input"))
    return tokens


NAME_RE = re.compile(r"^[A-Za-z_][A-Za-z0-9_]*(-[A-Za-z0-9_]+)*$")
IDENT_RE = re.compile(r"^[A-Za-z_][A-Za-z0-9_]*$")


class Parser:
    def __init__(self, tokens):
        self.tokens = tokens
        self.pos = 0
        self.interfaces = []
        self.targets = []

    def peek(self):
        return self.tokens[self.pos]

    def take(self, kind, what):
        tok = self.tokens[self.pos]
        if tok[0] != kind:
            raise GenError("%s: expected %s, found %s" % (
                tok[2], what, repr(tok[1]) if tok[1] else "end of input"))
        self.pos += 1
        return tok

    def accept(self, kind):
        if self.peek()[0] == kind:
            self.pos += 1
            return True
        return False

    def name(self, what, pattern=NAME_RE):
        tok = self.take("word", what)
        if not pattern.match(tok[1]):
            raise GenError("%s: bad %s %r" % (tok[2], what, tok[1]))
        return tok[1], tok[2]

    def parse(self):
        while self.peek()[0] != "eof":
            tok = self.take("word", "'interface' or 'target'")
            if tok[1] == "interface":
                self.interface(tok[2])
            elif tok[1] == "target":
                self.target(tok[2])
            else:
                raise GenError("%s: expected 'interface' or 'target', found %r"
                               % (tok[2], tok[1]))
        return self

    def iface_ref(self):
        name, where = self.name("interface name")
        self.take("/", "'/' after the interface name")
        version = self.take("version", "interface version (M.m)")[1]
        return name, version, where

    def interface(self, where):
        name, version, _ = self.iface_ref()
        iface = Interface(name, version, where)
        for other in self.interfaces:
            if other.key == iface.key:
                raise GenError("%s: interface %s defined twice"
                               % (where, iface.key))
        self.take("{", "'{'")
        seen = set()
        while not self.accept("}"):
            m = self.method()
            if m.ident in seen:
                raise GenError("%s: method %s declared twice in %s"
                               % (m.where, m.name, iface.key))
            seen.add(m.ident)
            iface.methods.append(m)
        self.accept(";")
        self.interfaces.append(iface)

    def method(self):
        name, where = self.name("method name")
        if name.replace("-", "_") in CPP_KEYWORDS:
            raise GenError("%s: method name %r is a C++ keyword" % (where, name))
        inputs, outputs = [], []
        if self.accept("?"):
            inputs = self.arglist()
        if self.accept("arrow"):
            outputs = self.arglist()
        self.take(";", "';' after method %s" % name)
        names = set()
        for a in inputs + outputs:
            if a.name in names:
                raise GenError("%s: argument %s declared twice in %s"
                               % (a.where, a.name, name))
            names.add(a.name)
        return Method(name, inputs, outputs, where)

    def arglist(self):
        args = [self.arg()]
        while self.accept("&"):
            args.append(self.arg())
        return args

    def arg(self):
        name, where = self.name("argument name", IDENT_RE)
        self.take(":", "':' after argument %s" % name)
        xtype, twhere = self.name("type")
        if xtype not in TYPES:
            raise GenError("%s: unknown or unsupported type %r" % (twhere, xtype))
        item = None
        if self.accept("<"):
            if xtype != "list":
                raise GenError("%s: only list takes an item type" % twhere)
            item, iwhere = self.name("list item type")
            if item not in TYPES or item == "list":
                raise GenError("%s: bad list item type %r" % (iwhere, item))
            self.take(">", "'>'")
        return Arg(name, xtype, item, where)

    def target(self, where):
        name, _ = self.name("target name", IDENT_RE)
        tok = self.take("word", "'implements'")
        if tok[1] != "implements":
            raise GenError("%s: expected 'implements', found %r" % (tok[2], tok[1]))
        refs = [self.iface_ref()]
        while self.accept(","):
            refs.append(self.iface_ref())
        self.take(";", "';' after the target statement")
        self.targets.append(Target(name, refs, where))


def load(path, include_dirs):
    src = Source(include_dirs)
    src.read(path)
    parser = Parser(tokenize(src)).parse()
    return parser, src


# ---------------------------------------------------------------------------
# Naming.

def cpp_classname(name):
    """card_manager -> CardManager (words split on '_' or '-')."""
    return "".join(w[:1].upper() + w[1:].lower()
                   for w in re.split(r"[_\-]", name) if w)


def version_tag(version):
    """0.1 -> V0p1"""
    return "V" + version.replace(".", "p")


def method_caps(name):
    """register_class_event_interest -> RegisterClassEventInterest"""
    out = []
    up = True
    for c in name:
        if c in "_-":
            up = True
            continue
        out.append(c.upper() if up else c)
        up = c.isdigit()
    return "".join(out)


def guard(path_part):
    return "__XRL_%s__" % re.sub(r"[^A-Za-z0-9]", "_", path_part).upper()


def callback_type(method):
    late = ["const XrlError&"] + ["const %s*" % a.cpp_type for a in method.outputs]
    n = len(late)
    if n <= 6:
        return "XorpCallback%d<void, %s>::RefPtr" % (n, ", ".join(late))
    return "XorpCallback<void, %s>::RefPtr" % ", ".join(late)


def spec_table(args, indent="    "):
    """Static XrlArgSpec table and the (pointer, count) expression to pass."""
    if not args:
        return "", "nullptr, 0"
    rows = ["%s    { \"%s\", %s, %s }," % (indent, a.name, a.atom_type,
                                           a.item_atom_type) for a in args]
    table = "%sstatic const XrlArgSpec xrl_gen_spec[] = {\n%s\n%s};\n" % (
        indent, "\n".join(rows), indent)
    return table, "xrl_gen_spec, %d" % len(args)


HEADER_NOTE = "// Generated by xif_gen.py from %s; do not edit.\n"


def write(path, text):
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


def write_depfile(depfile, output, files):
    def esc(p):
        return p.replace(" ", "\\ ")
    write(depfile, "%s: %s\n" % (esc(os.path.abspath(output)),
                                 " \\\n  ".join(esc(f) for f in files)))


# ---------------------------------------------------------------------------
# Clients.

def gen_client(xif_path, parser, out_dir):
    stem = os.path.splitext(os.path.basename(xif_path))[0]
    own = [i for i in parser.interfaces
           if os.path.abspath(i.where.rsplit(":", 1)[0]) == os.path.abspath(xif_path)]
    if not own:
        raise GenError("%s: no interface defined" % xif_path)
    src_name = os.path.basename(xif_path)

    hh = [HEADER_NOTE % src_name, "\n#ifndef %s\n#define %s\n\n" % (
        guard("interfaces/" + stem + "_xif_hh"), guard("interfaces/" + stem + "_xif_hh"))]
    hh.append('#include "libxorp/xorp.h"\n'
              '#include "libxorp/callback.hh"\n'
              '#include "libxipc/xrl.hh"\n'
              '#include "libxipc/xrl_atom_list.hh"\n'
              '#include "libxipc/xrl_error.hh"\n'
              '#include "libxipc/xrl_sender.hh"\n')
    cc = [HEADER_NOTE % src_name, '\n#include "%s_xif.hh"\n\n'
          '#include "libxipc/xrl_arg_check.hh"\n' % stem]

    for iface in own:
        cls = "Xrl%s%sClient" % (cpp_classname(iface.name), version_tag(iface.version))
        hh.append("\n// Client of %s.\nclass %s {\npublic:\n" % (iface.key, cls))
        hh.append("    %s(XrlSender* s) : _sender(s) {}\n" % cls)
        hh.append("    virtual ~%s() {}\n" % cls)
        for m in iface.methods:
            cbname = method_caps(m.name) + "CB"
            params = ["const char* dst_xrl_target_name"]
            params += ["const %s& %s" % (a.cpp_type, a.ident) for a in m.inputs]
            params += ["const %s& cb" % cbname]
            hh.append("\n    // %s%s%s\n" % (
                iface.command(m),
                " ? " + " & ".join(a.spec() for a in m.inputs) if m.inputs else "",
                " -> " + " & ".join(a.spec() for a in m.outputs) if m.outputs else ""))
            hh.append("    typedef %s %s;\n" % (callback_type(m), cbname))
            hh.append("    // The trailing bool is accepted for compatibility and ignored.\n")
            hh.append("    bool send_%s(\n\t%s,\n\tbool = false);\n" % (
                m.ident, ",\n\t".join(params)))

            cc.append("\nbool\n%s::send_%s(\n\t%s,\n\tbool)\n{\n" % (
                cls, m.ident, ",\n\t".join(params)))
            cc.append("    XrlArgs xrl_gen_args;\n")
            for a in m.inputs:
                cc.append("    xrl_gen_args.add(\"%s\", %s);\n" % (a.name, a.ident))
            cc.append("    Xrl xrl_gen_xrl(dst_xrl_target_name, \"%s\", xrl_gen_args);\n"
                      % iface.command(m))
            cc.append("    return _sender->send(xrl_gen_xrl,\n"
                      "        callback(&%s::unmarshall_%s, cb));\n}\n" % (cls, m.ident))

            nulls = ", ".join(["xrl_gen_e"] + ["nullptr"] * len(m.outputs))
            cc.append("\nvoid\n%s::unmarshall_%s(const XrlError& xrl_gen_e,\n"
                      "    XrlArgs* xrl_gen_reply, %s cb)\n{\n" % (cls, m.ident, cbname))
            cc.append("    if (!xrl_gen_e.isOK()) {\n        cb->dispatch(%s);\n"
                      "        return;\n    }\n" % nulls)
            table, spec_args = spec_table(m.outputs)
            cc.append(table)
            cc.append("    XrlArgs xrl_gen_none;\n"
                      "    const XrlArgs& xrl_gen_out = xrl_gen_reply != nullptr"
                      " ? *xrl_gen_reply : xrl_gen_none;\n")
            cc.append("    string xrl_gen_note = xrl_check_args(xrl_gen_out, %s);\n"
                      % spec_args)
            bad = ", ".join(["XrlError(::BAD_ARGS, \"bad reply: \" + xrl_gen_note)"]
                            + ["nullptr"] * len(m.outputs))
            cc.append("    if (!xrl_gen_note.empty()) {\n        cb->dispatch(%s);\n"
                      "        return;\n    }\n" % bad)
            vals = ["xrl_gen_e"] + ["&xrl_gen_out.%s(\"%s\")" % (a.getter, a.name)
                                    for a in m.outputs]
            cc.append("    cb->dispatch(%s);\n}\n" % ",\n\t\t ".join(vals))

        hh.append("\nprotected:\n    XrlSender* _sender;\n\nprivate:\n")
        for m in iface.methods:
            hh.append("    static void unmarshall_%s(const XrlError& e, XrlArgs* a,\n"
                      "\t%sCB cb);\n" % (m.ident, method_caps(m.name)))
        hh.append("\n    %s(const %s&) = delete;\n    %s& operator=(const %s&) = delete;\n"
                  "};\n" % (cls, cls, cls, cls))

    hh.append("\n#endif\n")
    hh_path = os.path.join(out_dir, stem + "_xif.hh")
    write(hh_path, "".join(hh))
    write(os.path.join(out_dir, stem + "_xif.cc"), "".join(cc))
    return hh_path


# ---------------------------------------------------------------------------
# Target bases.

def prefixed_match(iface, prefixed):
    return iface.name in prefixed or iface.key in prefixed


def gen_target(tgt_path, parser, src, out_dir, prefixed):
    if len(parser.targets) != 1:
        raise GenError("%s: expected exactly one target statement, found %d"
                       % (tgt_path, len(parser.targets)))
    target = parser.targets[0]
    stem = os.path.splitext(os.path.basename(tgt_path))[0]
    by_key = {i.key: i for i in parser.interfaces}

    ifaces = []
    for name, version, where in target.implements:
        key = "%s/%s" % (name, version)
        if key not in by_key:
            # Not included: look for <name>.xif on the include path.
            path = None
            for d in src.include_dirs:
                p = os.path.join(d, name + ".xif")
                if os.path.isfile(p):
                    path = p
                    break
            if path:
                extra = Source(src.include_dirs)
                extra.read(path)
                src.files += [f for f in extra.files if f not in src.files]
                for i in Parser(tokenize(extra)).parse().interfaces:
                    by_key.setdefault(i.key, i)
        if key not in by_key:
            raise GenError("%s: interface %s is not defined" % (where, key))
        if by_key[key] in ifaces:
            raise GenError("%s: interface %s listed twice" % (where, key))
        ifaces.append(by_key[key])

    for p in prefixed:
        if not any(prefixed_match(i, [p]) for i in ifaces):
            raise GenError("%s: prefixed interface %s is not implemented"
                           % (tgt_path, p))

    # (iface, method, virtual name, handler name)
    entries = []
    names = {}
    for iface in ifaces:
        for m in iface.methods:
            if prefixed_match(iface, prefixed):
                vname = "%s_%s" % (iface.flat(), m.ident)
            else:
                vname = m.ident
            if vname in BASE_MEMBERS or vname.startswith("handle_"):
                raise GenError("%s: method name %s clashes with the target base"
                               % (m.where, vname))
            if vname in names:
                raise GenError("%s: %s of %s and of %s give the same name %s; "
                               "pass one interface as prefixed" % (
                                   m.where, m.name, names[vname], iface.key, vname))
            names[vname] = iface.key
            hname = "handle_%s_%s" % (iface.flat(), m.ident)
            entries.append((iface, m, vname, hname))

    cls = "Xrl%sTargetBase" % cpp_classname(target.name)
    src_name = os.path.basename(tgt_path)
    g = guard("targets/" + stem + "_base_hh")
    hh = [HEADER_NOTE % src_name, "\n#ifndef %s\n#define %s\n\n" % (g, g)]
    hh.append('#include "libxorp/xorp.h"\n'
              '#include "libxipc/xrl_args.hh"\n'
              '#include "libxipc/xrl_atom_list.hh"\n'
              '#include "libxipc/xrl_cmd_map.hh"\n'
              '#include "libxipc/xrl_error.hh"\n')
    hh.append("""
// Target "%(t)s": implements %(impl)s.
// Derive from it and implement the pure virtuals; with a command map, the
// constructor registers one handler per method and finalizes the map.
class %(c)s {
protected:
    XrlCmdMap* _cmds;

public:
    %(c)s(XrlCmdMap* cmds = 0);
    virtual ~%(c)s();

    // Registers the handlers on `cmds` and finalizes it; false if a map is
    // already set or a command was taken.
    bool set_command_map(XrlCmdMap* cmds);

    // The command map's name, or "%(t)s" before there is one.
    const string& get_name() const;
    const char* version() const { return "%(t)s/0.0"; }

protected:
""" % {"t": target.name, "c": cls,
       "impl": ", ".join(i.key for i in ifaces)})

    for iface, m, vname, hname in entries:
        params = []
        if m.inputs:
            params.append("\t// Input values,")
            params += ["\tconst %s&\t%s" % (a.cpp_type, a.ident) for a in m.inputs]
        if m.outputs:
            params.append("\t// Output values,")
            params += ["\t%s&\t%s" % (a.cpp_type, a.ident) for a in m.outputs]
        # Commas go after each parameter, not after the comment lines.
        lines = []
        real = [p for p in params if not p.startswith("\t//")]
        count = 0
        for p in params:
            if p.startswith("\t//"):
                lines.append(p)
            else:
                count += 1
                lines.append(p + ("," if count < len(real) else ""))
        hh.append("    // %s\n" % iface.command(m))
        if lines:
            hh.append("    virtual XrlCmdError %s(\n%s) = 0;\n\n" % (vname, "\n".join(lines)))
        else:
            hh.append("    virtual XrlCmdError %s() = 0;\n\n" % vname)

    hh.append("private:\n")
    for iface, m, vname, hname in entries:
        hh.append("    const XrlCmdError %s(const XrlArgs& xrl_gen_in,\n"
                  "\tXrlArgs* xrl_gen_out);\n" % hname)
    hh.append("""
    void add_handlers();
    void remove_handlers();

    %(c)s(const %(c)s&) = delete;
    %(c)s& operator=(const %(c)s&) = delete;
};

#endif
""" % {"c": cls})

    cc = [HEADER_NOTE % src_name, '\n#include "%s_base.hh"\n\n'
          '#include "libxipc/xrl_arg_check.hh"\n' % stem]
    cc.append("""
%(c)s::%(c)s(XrlCmdMap* cmds)
    : _cmds(0)
{
    if (cmds != 0)
        set_command_map(cmds);
}

%(c)s::~%(c)s()
{
    if (_cmds != 0)
        remove_handlers();
}

bool
%(c)s::set_command_map(XrlCmdMap* cmds)
{
    if (_cmds != 0 || cmds == 0)
        return false;
    _cmds = cmds;
    add_handlers();
    return true;
}

const string&
%(c)s::get_name() const
{
    static const string unbound("%(t)s");
    return _cmds != 0 ? _cmds->name() : unbound;
}
""" % {"c": cls, "t": target.name})

    for iface, m, vname, hname in entries:
        cc.append("\nconst XrlCmdError\n%s::%s(const XrlArgs& xrl_gen_in,\n"
                  "\tXrlArgs* xrl_gen_out)\n{\n" % (cls, hname))
        table, spec_args = spec_table(m.inputs)
        cc.append(table)
        cc.append("    string xrl_gen_note = xrl_check_args(xrl_gen_in, %s);\n"
                  "    if (!xrl_gen_note.empty())\n"
                  "        return XrlCmdError::BAD_ARGS(xrl_gen_note);\n\n" % spec_args)
        for a in m.outputs:
            cc.append("    %s xrl_gen_out_%s = %s();\n" % (a.cpp_type, a.name, a.cpp_type))
        call = ["xrl_gen_in.%s(\"%s\")" % (a.getter, a.name) for a in m.inputs]
        call += ["xrl_gen_out_%s" % a.name for a in m.outputs]
        if call:
            cc.append("    const XrlCmdError xrl_gen_err = %s(\n\t%s);\n" % (
                vname, ",\n\t".join(call)))
        else:
            cc.append("    const XrlCmdError xrl_gen_err = %s();\n" % vname)
        cc.append("    if (!xrl_gen_err.isOK())\n        return xrl_gen_err;\n")
        if m.outputs:
            cc.append("    if (xrl_gen_out != 0) {\n")
            for a in m.outputs:
                cc.append("\txrl_gen_out->add(\"%s\", xrl_gen_out_%s);\n" % (a.name, a.name))
            cc.append("    }\n")
        else:
            cc.append("    (void)xrl_gen_out;\n")
        cc.append("    return XrlCmdError::OKAY();\n}\n")

    cc.append("\nvoid\n%s::add_handlers()\n{\n" % cls)
    for iface, m, vname, hname in entries:
        cc.append("    _cmds->add_handler(\"%s\",\n\tcallback(this, &%s::%s));\n"
                  % (iface.command(m), cls, hname))
    cc.append("    _cmds->finalize();\n}\n")
    cc.append("\nvoid\n%s::remove_handlers()\n{\n" % cls)
    for iface, m, vname, hname in entries:
        cc.append("    _cmds->remove_handler(\"%s\");\n" % iface.command(m))
    cc.append("}\n")

    hh_path = os.path.join(out_dir, stem + "_base.hh")
    write(hh_path, "".join(hh))
    write(os.path.join(out_dir, stem + "_base.cc"), "".join(cc))
    return hh_path


def main(argv):
    ap = argparse.ArgumentParser(description="XRL interface generator")
    ap.add_argument("mode", choices=["client", "target"])
    ap.add_argument("input")
    ap.add_argument("--out-dir", required=True)
    ap.add_argument("-I", dest="include_dirs", action="append", default=[])
    ap.add_argument("--prefixed", action="append", default=[],
                    help="interface whose method names carry interface and version")
    ap.add_argument("--depfile")
    args = ap.parse_args(argv)
    try:
        if args.mode == "client" and args.prefixed:
            raise GenError("--prefixed applies to targets only")
        parser, src = load(args.input, args.include_dirs)
        if args.mode == "client":
            out = gen_client(args.input, parser, args.out_dir)
        else:
            out = gen_target(args.input, parser, src, args.out_dir, args.prefixed)
        if args.depfile:
            write_depfile(args.depfile, out, src.files)
    except GenError as e:
        sys.stderr.write("xif_gen: %s\n" % e)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
