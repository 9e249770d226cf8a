#!/bin/bash
# Bytes that break XORP's framing reach xorp_finder and a target's STCP
# listener (and random bytes too): the connection gets an answer or is
# closed, and both keep serving.
set -u
. "$(dirname "$0")/../daemon/lib.sh"
cd /tmp
start_finder
XORP_PF=t start_peer peer --log /tmp/peer.log	# a TCP listener

out=$(python3 - "$peer_instance" <<'PY'
import random, re, socket, struct, sys

def probe(addr, data):
    s = socket.create_connection(addr)
    s.settimeout(10)
    s.sendall(data)
    got = b""
    # Until the connection ends, or one whole STCP answer has come.
    while len(got) < 24 or len(got) < 24 + sum(struct.unpack(">II", got[16:24])):
        b = s.recv(65536)
        if not b:
            break
        got += b
    s.close()
    return got

def frame(text):
    return struct.pack(">I", len(text)) + text

def request(seq, xrl):
    return frame(b"Finder 0.2\nMsgType x\nSeqNo %d\nMsgData " % seq + xrl)

finder = ("127.0.0.1", 19999)
cases = [
    ("garbage", b"\x17\x03\x01 hello there\n"),
    ("70000 bytes", struct.pack(">I", 70000) + b"x" * 1000),
    ("empty frame", struct.pack(">I", 0)),
    ("version 0.3", frame(b"Finder 0.3\nMsgType x\nSeqNo 1\nMsgData ")),
    ("not an XRL", request(1, b"finder://finder/no-command")),
    ("NUL in the XRL", request(1, b"finder://finder/common/0.1/get_status\0")),
    ("type q", frame(b"Finder 0.2\nMsgType q\nSeqNo 1\nMsgData ")),
    ("seqno -7", frame(b"Finder 0.2\nMsgType x\nSeqNo -7\nMsgData ")),
]
for name, data in cases:
    print("finder, %s: %s" % (name, "closed" if probe(finder, data) == b"" else "answered"))

# Answered, the connection kept (XORP's finder closes on a wrong type).
s = socket.create_connection(finder)
f = b"finder://finder/finder/0.2/"
for seq, xrl in enumerate([f + b"register_finder_client?instance_name:txt=" + sys.argv[1].encode()
                           + b"&class_name:txt=peer&singleton:bool=false&in_cookie:txt=",
                           f + b"resolve_xrl", f + b"resolve_xrl?xrl:u32=1",
                           b"finder://oxo/finder/0.2/no_such_thing",
                           f + b"resolve_xrl?xrl:txt=finder://peer/a/0.1/b"]):
    s.sendall(request(seq, xrl))
    reply = s.recv(65536)
    print("finder answers [%s]" % reply.split(b"MsgData ")[1].split(b"\n")[0].decode())
s.close()
head = re.search(rb"stcp://[0-9.:]+/a/0\.1/b-[0-9a-f]+", reply).group(0)
port = int(head.split(b"/")[2].split(b":")[1])

def stcp(seq, args, kind=2):
    return b"STCP\x01\x01" + struct.pack(">IBBIII", seq, 0, kind, 100, 0, len(args)) + args

def method(h):
    return b"\xcc\x00\x00\x01\x48" + struct.pack(">I", len(h)) + h

good = method(head)
for name, data in [("bad magic", b"XTCP" + stcp(0, good)[4:]),
                   ("a response", stcp(0, good, 3)),
                   ("type 9", stcp(0, good, 9)),
                   ("version 1.2", b"STCP\x01\x02" + stcp(0, good)[6:]),
                   ("too many atoms", stcp(0, b"\xcc\x00\x00\x05" + good[4:])),
                   ("truncated", stcp(0, good[:-1])),
                   ("another cookie", stcp(0, method(head + b"ffff"))),
                   ("HELO", stcp(77, b"", 0))]:
    got = probe(("127.0.0.1", port), data)
    print("listener, %s: %s" % (name, "closed" if got == b"" else
          ("answered type %d, %d %s" % (got[11], struct.unpack(">I", got[12:16])[0],
                                        got[24:35].decode())).rstrip()))

# Random bytes, some behind a valid start: every connection ends once we stop.
rng = random.Random(15)
ended = 0
for addr, start in [(finder, b""), (finder, b"\x00\x00\x00\x80Finder 0.2\n"),
                    (("127.0.0.1", port), b""), (("127.0.0.1", port), b"STCP\x01\x01")]:
    for i in range(25):
        s = socket.create_connection(addr)
        s.settimeout(10)
        s.sendall(start + bytes(rng.getrandbits(8) for _ in range(rng.randint(1, 300))))
        s.shutdown(socket.SHUT_WR)
        while s.recv(65536):
            pass
        s.close()
        ended += 1
print("random: %d ended" % ended)
PY
)
expect_eq "malformed input" "finder, garbage: closed
finder, 70000 bytes: closed
finder, empty frame: closed
finder, version 0.3: closed
finder, not an XRL: closed
finder, NUL in the XRL: closed
finder, type q: closed
finder, seqno -7: closed
finder answers [102 / $peer_instance+already+registered.]
finder answers [101 / ]
finder answers [101 / expected+xrl:txt]
finder answers [202 / ]
finder answers [100 / ]
listener, bad magic: closed
listener, a response: closed
listener, type 9: closed
listener, version 1.2: closed
listener, too many atoms: answered type 3, 220 corrupt xrl
listener, truncated: answered type 3, 220 corrupt xrl
listener, another cookie: answered type 3, 220 corrupt xrl
listener, HELO: answered type 1, 100
random: 100 ended" "$out"

call_xrl 'finder://peer/iface/0.1/still_there?x:u32=1'
expect_eq "both serve after bad input" 0 $?
expect_eq "peer got it" "finder://peer/iface/0.1/still_there?x:u32=1" "$(cat /tmp/peer.log)"
finish
