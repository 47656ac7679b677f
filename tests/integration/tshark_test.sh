#!/usr/bin/env bash
# A session goes through the virtual modem and the decoder; Wireshark's columns
# are those of the session file, message for message, and its TLS decrypts.
#   tshark_test.sh VELTRA SESSION.tsv
. "$(dirname "$0")/checks.sh"
veltra=$1 session=$2

# "protocol: info" of every packet, blanks at the ends cut.
columns() {
  tshark -r "$1" -T fields -E separator=/t -e _ws.col.Protocol -e _ws.col.Info 2>tshark.txt |
    sed -E 's/\t/: /; s/ +$//'
}

"$veltra" simulate "$session" --trace trace.bin --database database.tar.gz >/dev/null
"$veltra" decode trace.bin --database database.tar.gz -o capture.pcapng 2>summary.txt

# The summary counts what a reader of the capture counts.
grep -qE "^capture.pcapng: $(tshark -r capture.pcapng 2>/dev/null | wc -l) packets, 2 TLS keys " \
  summary.txt || fail "the summary counts otherwise" "$(head -1 summary.txt)"
"$veltra" decode trace.bin --database database.tar.gz --raw-packets -o raw.pcapng 2>raw.txt
grep -qE "^raw.pcapng: $(tshark -r raw.pcapng 2>/dev/null | wc -l) packets, " raw.txt ||
  fail "the summary with raw packets counts otherwise" "$(head -1 raw.txt)"

# The session file shows TLS as it looks without its secrets; messages that
# become secrets are not packets.
editcap --discard-all-secrets capture.pcapng plain.pcapng
awk -F'\t' '!/^#/ && $2 != "handshake_randbytes" && $2 != "session_master" {print $4}' "$session" |
  sed -E 's/ +$//' >expected.txt
columns plain.pcapng | sed -E 's/ +$//' >got.txt
same expected.txt got.txt "the columns without secrets"

# With them only TLS shows more.
columns capture.pcapng >decrypted.txt
for name in expected decrypted; do
  grep -vE '^(TLS|TCP|HTTP)' $name.txt >$name-rest.txt
done
same expected-rest.txt decrypted-rest.txt "the columns outside TLS"
grep -q '^HTTP: GET /status.json HTTP/1.0' decrypted.txt || fail "the request is not decrypted"
tshark -r capture.pcapng -q -z follow,tls,ascii,0 2>/dev/null | grep -q '^{"device":"sensor-7"' ||
  fail "the reply is not decrypted"

# Behind so many other sessions that their secrets fill several blocks, too.
{
  for i in {1..200}; do
    printf '%d\tip\t%s\n' $((10 * i)) 4500001400000000400000000aa0010cc000020a
    printf '%d\thandshake_randbytes\t%0128d\n' $((10 * i + 1)) "$i"
    printf '%d\tsession_master\t%096d\n' $((10 * i + 2)) "$i"
  done
  cut -f 1-3 "$session"
} >long.tsv
"$veltra" simulate long.tsv --trace long.bin --database long.tar.gz >/dev/null
"$veltra" decode long.bin --database long.tar.gz -o long.pcapng 2>summary.txt
tshark -r long.pcapng -Y http 2>/dev/null | grep -q 'GET /status.json' ||
  fail "the request is not decrypted behind many sessions"

# Wireshark finds fault only with messages that the session file, too, has no
# info text for.
for frame in $(tshark -r capture.pcapng -Y '_ws.malformed' -T fields -e frame.number 2>/dev/null); do
  sed -n "${frame}p" expected.txt | grep -q ':$' || fail "packet $frame is malformed"
done

# Each kind of packet on an interface of its own, with nanoseconds.
tshark -r capture.pcapng -T fields -e frame.interface_name -e frame.time_epoch 2>/dev/null \
  >interfaces.txt
for name in ip rrc nas at; do
  grep -q "^$name	" interfaces.txt || fail "no packet on the interface $name"
done
first_time=$(awk -F'\t' '!/^#/ {printf "%d.%06d000", $1 / 1000000, $1 % 1000000; exit}' "$session")
[ "$(head -n 1 interfaces.txt | cut -f 2)" = "$first_time" ] || fail "the first timestamp differs"

# Directions as far as the layer has them: 0 sent, 1 received.
direction() { tshark -r capture.pcapng -Y "$1" -T fields -e exported_pdu.p2p_dir 2>/dev/null | sort -u; }
[ "$(direction 'lte-rrc.UL_DCCH_Message_element')" = 0 ] || fail "uplink is not sent"
[ "$(direction 'lte-rrc.DL_DCCH_Message_element')" = 1 ] || fail "downlink is not received"
[ "$(direction 'nas_eps.nas_msg_emm_type == 0x41')" = 0 ] || fail "an attach request is not sent"
[ "$(direction 'nas_eps.nas_msg_emm_type == 0x5d')" = 1 ] ||
  fail "a security mode command is not received"

# What an AT text seems to be is in the packet's flags: 1 inbound, 2 outbound.
tshark -r capture.pcapng -Y at -T fields -e frame.packet_flags_direction -e _ws.col.Info \
  2>/dev/null >at.txt
grep -q '^0x00000002.*AT+CFUN=1' at.txt || fail "the AT command is not outbound" "$(cat at.txt)"
grep -q '^0x00000001.*OK' at.txt || fail "the answer is not inbound" "$(cat at.txt)"
