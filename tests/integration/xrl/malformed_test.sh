#!/bin/bash
# Bytes that break the framing reach xorp_finder: the connection gets an
# answer or is closed, and the finder keeps serving.
set -u
. "$(dirname "$0")/lib.sh"
cd /tmp
start_finder
start_peer peer --log /tmp/peer.log

out=$(python3 - <<'PY'
import socket, struct

def probe(data):
    s = socket.create_connection(("127.0.0.1", 19999))
    s.settimeout(10)
    s.sendall(data)
    got = b""
    while True:
        b = s.recv(65536)
        if not b:
            break
        got += b
    s.close()
    return got

def frame(payload):
    return struct.pack(">I", len(payload)) + payload

cases = [
    ("garbage", b"\x17\x03\x01 hello there\n"),
    ("2 MiB length", struct.pack(">I", 2 * 1024 * 1024) + b"x" * 1000),
    ("empty frame", struct.pack(">I", 0)),
    ("request before introduction",
     frame(b"\x04" + struct.pack(">I", 1) + struct.pack(">I", 4) + b"peer")),
    ("unknown message type", frame(b"\x01" + struct.pack(">I", 0x58524c31)
        + struct.pack(">I", 1) + b"c" + struct.pack(">I", 1) + b"i")
        + frame(b"\x63")),
    ("string longer than its frame", frame(b"\x01" + struct.pack(">I", 0x58524c31)
        + struct.pack(">I", 500) + b"c")),
]
for name, data in cases:
    got = probe(data)
    print("%s: closed%s" % (name, ", answered" if got[4:5] == b"\x06" else ""))
print("oversize reason: %s" % (b"longer than 1 MiB" in probe(cases[1][1])))
PY
)
expect_eq "malformed input" "garbage: closed, answered
2 MiB length: closed, answered
empty frame: closed, answered
request before introduction: closed, answered
unknown message type: closed, answered
string longer than its frame: closed, answered
oversize reason: True" "$out"

call_xrl 'finder://peer/iface/0.1/still_there?x:u32=1'
expect_eq "finder serves after bad input" 0 $?
expect_eq "peer got it" "finder://peer/iface/0.1/still_there?x:u32=1" "$(cat /tmp/peer.log)"
finish
