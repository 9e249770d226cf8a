#!/usr/bin/env python3
"""The generator refuses faulty interface files with a message naming the
file and line, and writes nothing then. Usage: xif_gen_test.py path/to/xif_gen.py"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

GEN = None


class XifGenErrors(unittest.TestCase):
    def setUp(self):
        self.dir = self.enterContext(tempfile.TemporaryDirectory())

    def write(self, name, text):
        path = os.path.join(self.dir, name)
        with open(path, "w") as f:
            f.write(text)
        return path

    def run_gen(self, mode, path, *extra):
        out = os.path.join(self.dir, "out")
        shutil.rmtree(out, ignore_errors=True)
        p = subprocess.run([sys.executable, GEN, mode, "--out-dir", out,
                            "-I", self.dir, *extra, path],
                           capture_output=True, text=True)
        return p.returncode, p.stderr, out

    def assert_refused(self, mode, text, message, *extra, name="t.xif"):
        path = self.write(name, text)
        code, err, out = self.run_gen(mode, path, *extra)
        self.assertEqual(1, code, err)
        self.assertIn(message, err)
        self.assertFalse(os.path.exists(out), "wrote output despite the error")

    def test_bad_interface_files(self):
        cases = [
            ("interface a/0.1 { m ? x:float; }", "t.xif:1: unknown or unsupported type 'float'"),
            ("interface a/0.1 {\n m ? x:u32\n}", "t.xif:3: expected ';' after method m"),
            ("interface a/0.1 { m ? x:u32 & x:txt; }", "argument x declared twice"),
            ("interface a/0.1 { m ? x:u32 -> x:u32; }", "argument x declared twice"),
            ("interface a/0.1 { m; m; }", "method m declared twice"),
            ("interface a/1 { m; }", "expected interface version (M.m)"),
            ("interface a/0.1 { m ? x:u32<txt>; }", "only list takes an item type"),
            ("interface a/0.1 { m ? x:list<list>; }", "bad list item type 'list'"),
            ("interface a/0.1 { delete; }", "method name 'delete' is a C++ keyword"),
            ("interface a/0.1 { m ? a-b:u32; }", "bad argument name 'a-b'"),
            ("interface a/0.1 { m; ", "expected method name, found end of input"),
            ("/* open", "unterminated comment"),
            ('#include "missing.xif"\n', "cannot find include file \"missing.xif\""),
            ("#if X\n", "unsupported directive #if"),
            ("", "no interface defined"),
        ]
        for text, message in cases:
            with self.subTest(text=text):
                self.assert_refused("client", text, message)

    def test_bad_targets(self):
        self.write("a.xif", "interface a/0.1 { ping; get_name; }")
        self.write("b.xif", "interface b/0.1 { ping; }")
        cases = [
            ('#include "a.xif"\ntarget t implements a/0.2;', [],
             "t.tgt:2: interface a/0.2 is not defined"),
            ('#include "a.xif"\n#include "b.xif"\ntarget t implements a/0.1, b/0.1;',
             ["--prefixed", "b"], "method name get_name clashes with the target base"),
            ('#include "b.xif"\ninterface c/0.1 { ping; }\n'
             'target t implements b/0.1, c/0.1;', [],
             "pass one interface as prefixed"),
            ('#include "b.xif"\ntarget t implements b/0.1;', ["--prefixed", "zz"],
             "prefixed interface zz is not implemented"),
            ('#include "b.xif"\ntarget t implements b/0.1, b/0.1;', [],
             "interface b/0.1 listed twice"),
            ('#include "b.xif"\ntarget t b/0.1;', [], "expected 'implements'"),
            ("interface c/0.1 { m; }", [], "expected exactly one target statement"),
        ]
        for text, extra, message in cases:
            with self.subTest(text=text):
                self.assert_refused("target", text, message, *extra, name="t.tgt")

    def test_target_finds_unincluded_interfaces_and_lists_dependencies(self):
        self.write("a.xif", "#ifndef A\n#define A\ninterface a/0.1 { ping; }\n#endif\n")
        self.write("b.xif", '#include "a.xif"\ninterface b/0.1 { pong; }\n')
        path = self.write("t.tgt", '#include "b.xif"\n#include "a.xif"\n'
                          "target t implements a/0.1, b/0.1;\n")
        dep = os.path.join(self.dir, "t.d")
        code, err, out = self.run_gen("target", path, "--depfile", dep)
        self.assertEqual(0, code, err)
        with open(os.path.join(out, "t_base.hh")) as f:
            header = f.read()
        self.assertIn("virtual XrlCmdError ping() = 0;", header)
        self.assertIn("virtual XrlCmdError pong() = 0;", header)
        with open(dep) as f:
            deps = f.read()
        for name in ("t.tgt", "a.xif", "b.xif"):
            self.assertIn(os.path.join(self.dir, name), deps)

        # Without an #include, <name>.xif is taken from the include path.
        path = self.write("u.tgt", "target u implements b/0.1;\n")
        code, err, out = self.run_gen("target", path)
        self.assertEqual(0, code, err)


if __name__ == "__main__":
    GEN = sys.argv.pop(1)
    unittest.main()
