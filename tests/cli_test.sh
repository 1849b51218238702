#!/usr/bin/env bash
# Command-line tests for vynconv, run by CTest one group at a time:
#   cli_test.sh VYNCONV DATA_DIR GROUP
# Each group prints "N passed, N failed" and fails when anything failed.
set -u
V=$1
D=$2
GROUP=$3
W=$(mktemp -d)
trap 'rm -rf "$W"' EXIT
cd "$W" || exit 1
pass=0
fail=0
ok() { pass=$((pass + 1)); }
bad() {
  fail=$((fail + 1))
  echo "FAIL: $*"
}
check() { # check DESCRIPTION COMMAND...: the command must succeed
  local what=$1
  shift
  if "$@"; then ok; else bad "$what"; fi
}
hex() { od -An -v -tx1 | tr -d ' \n'; }
C=$D/corpus.txt

# Every set with a converter, by number.
served() { "$V" -l | awk '$3 == "served" { print $2 }'; }

group_golden() {
  # Files made once with Python's codecs (make_golden.py): both directions.
  for bin in "$D"/golden/*.bin; do
    n=$(basename "$bin" .bin)
    "$V" -f UTF-8 -t "$n" "$D/golden/$n.utf8" >enc 2>err
    check "golden encode $n (rc $?)" cmp -s enc "$bin"
    "$V" -f "$n" -t UTF-8 "$bin" >dec 2>err
    check "golden decode $n (rc $?)" cmp -s dec "$D/golden/$n.utf8"
  done
}

group_roundtrip() {
  # Through every served set and back, dropping what a set cannot hold: the
  # way back reports nothing, and a second trip changes nothing.
  for n in $(served); do
    "$V" -c -f UTF-8 -t "$n" "$C" >a
    "$V" -f "$n" -t UTF-8 a >b 2>err
    check "round trip $n: decode clean" test $? -eq 0 -a ! -s err
    "$V" -f UTF-8 -t "$n" b >c 2>err
    check "round trip $n: stable" cmp -s a c
    check "round trip $n: ASCII line kept" test "$(head -1 b)" = "$(head -1 "$C")"
  done
}

group_chunks() {
  # Tiny chunks cut inside multibyte characters; the output must not change.
  for n in 65001 1200 12000 1202 932 30933 950 936 949 51932 51936 51949 54936 1252; do
    src=$D/golden/$n.bin
    [ "$n" = 65001 ] && src=$C
    "$V" -f "$n" -t UTF-16 "$src" >ref
    "$V" -f UTF-16 -t "$n" ref >ref2
    for c in 1 2 3 4 5 7 13; do
      "$V" --chunk-size $c -f "$n" -t UTF-16 "$src" >out
      check "decode $n chunk $c" cmp -s ref out
      "$V" --chunk-size $c -f UTF-16 -t "$n" ref >out
      check "encode $n chunk $c" cmp -s ref2 out
    done
  done
  # Pairs split across chunks in UTF-16 input, and escapes of their halves.
  printf '\x3d\xd8\x00\xde\x41\x00' >pair16
  for c in 1 2 3; do
    check "pair in UTF-16 chunk $c" test "$("$V" --chunk-size $c -f UTF-16 -t UTF-8 pair16 | hex)" = f09f988041
    check "escaped pair chunk $c" test "$(printf 'U+D83DU+DE00' | "$V" --chunk-size $c -f UTF-16ESC -t UTF-8 | hex)" = f09f9880
  done
}

group_longline() {
  # More than 4 MiB without a byte that may end a character: the cut is made
  # where the converter says the last whole character ends, not mid-pair.
  # A leading one-byte character puts every pair at an odd offset.
  { printf '\261'; yes "$(printf '\210\237')" | tr -d '\n' | head -c 5000000; } >dbcs
  "$V" --chunk-size 65536 -f CP932 -t UTF-16 dbcs >out 2>err
  iconv -f CP932 -t UTF-16LE dbcs >want
  check "long CP932 line: $(cat err)" cmp -s out want
  { printf '\201\100'; yes "$(printf '\201\060\201\060')" | tr -d '\n' | head -c 5000000; } >gb
  "$V" -f GB18030 -t UTF-16 gb >out 2>err
  iconv -f GB18030 -t UTF-16LE gb >want
  check "long GB18030 line: $(cat err)" cmp -s out want
}

group_nul() {
  # from to input-hex expected-output-hex
  while read -r from to in want; do
    got=$(printf "$in" | "$V" -q -f "$from" -t "$to" | hex)
    check "NUL $from->$to $in: $got" test "$got" = "$want"
  done <<'T'
UTF-8 UTF-16 a\0b\0\0 61000000620000000000
UTF-8 UTF-32 \0\303\251 00000000e9000000
UTF-16 UTF-8 a\0\0\0b\0 610062
UTF-32 UTF-8 \0\0\0\0a\0\0\0 0061
UTF-8 CP932 \0\343\201\202\0 0082a000
UTF-16 UTF-16ESC \0\0\351\0 00552b30304539
GB18030 UTF-8 \201\060\0\201\060 efbfbd3000efbfbd30
T
}

group_errors() {
  # options from to input-printf-format want-output-hex want-rc stderr-needle
  while IFS='|' read -r opts from to in want rc needle; do
    printf "$in" >in
    # shellcheck disable=SC2086
    "$V" $opts -f "$from" -t "$to" in >out 2>err
    r=$?
    got=$(hex <out)
    check "[$opts $from->$to $in] output $got" test "$got" = "$want"
    check "[$opts $from->$to $in] status $r" test "$r" = "$rc"
    if [ -n "$needle" ]; then
      check "[$opts $from->$to $in] message: $(cat err)" grep -qF -- "$needle" err
    else
      check "[$opts $from->$to $in] quiet: $(cat err)" test ! -s err
    fi
  done <<'T'
|UTF-8|LATIN1|ab\342\202\254c|61623f63|1|byte 2: U+20AC cannot be written in VYNCS_ISO_8859_1
--on-error=stop|UTF-8|LATIN1|ab\342\202\254c|6162|1|byte 2: U+20AC cannot be written in VYNCS_ISO_8859_1; stopped there
--on-error=escape|UTF-8|LATIN1|ab\342\202\254c|6162552b3230414363|1|U+20AC
--on-error=escape|UTF-8|CP932|\360\237\230\200|552b44383344552b44453030|1|byte 0: U+1F600 cannot
-c|UTF-8|LATIN1|ab\342\202\254c|616263|0|
-q|UTF-8|LATIN1|ab\342\202\254c|61623f63|1|
|UTF-8|UTF-16|a\200b\303|6100fdff6200fdff|1|byte 1: invalid VYNCS_UTF8 input (byte 80) (and 1 more)
--on-error=stop|UTF-8|UTF-16|ab\303(|61006200|1|byte 2: invalid VYNCS_UTF8 input (byte C3); stopped there
|UTF-8|UTF-16|\360\237\230\200|3dd800de|0|
|CP932|UTF-8|A\207\100B|41efbfbd42|1|byte 1: invalid VYNCS_WCP932 input (bytes 87 40)
-c|CP932|UTF-8|A\207\100B\201|4142|0|
|CP936|UTF-8|\201\201\101|efbfbde4b884|1|byte 0: invalid VYNCS_WCP936 input (byte 81)
|GB18030|UTF-8|xy\204\061\245\060z|7879efbfbd7a|1|byte 2: invalid VYNCS_GB18030 input (bytes 84 31 A5 30)
--on-error=stop|EUC-KR|UTF-8|\260\241\177z|eab080|1|byte 2: invalid VYNCS_EUC_KR input (byte 7F); stopped there
|UTF-16|UTF-8|a\0b|61efbfbd|1|byte 2: invalid VYNCS_UTF16 input (byte 62)
|UTF-32|UTF-8|\0\0\021\0|efbfbd|1|byte 0: invalid VYNCS_UTF32 input (bytes 00 00 11 00)
|UTF-16|GB18030|\0\330A\0|3f41|1|byte 0: U+D800 (a lone surrogate) cannot be written in VYNCS_GB18030
|UTF-16|UTF-8|A\0\0\330|413f|1|byte 2: U+D800 (a lone surrogate)
--on-error=escape|UTF-16|UTF-8|\0\330A\0|552b4438303041|1|byte 0: U+D800
--on-error=escape|UTF-16|UTF-8|\0\330|552b44383030|1|byte 0: U+D800
T
  # Offsets count from the start of each file, not of the chunk.
  { head -c 100000 /dev/zero | tr '\0' a; printf '\342\202\254'; } >far
  "$V" --chunk-size 1000 -f UTF-8 -t LATIN1 far >/dev/null 2>err
  check "offset past many chunks: $(cat err)" grep -qF "far: byte 100000: U+20AC" err
}

group_usage() {
  # arguments | wanted status | stderr needle
  while IFS='|' read -r args rc needle; do
    # shellcheck disable=SC2086
    "$V" $args </dev/null >/dev/null 2>err
    r=$?
    check "[$args] status $r" test "$r" = "$rc"
    check "[$args] message: $(cat err)" grep -qF -- "$needle" err
  done <<'T'
-f NOPE -t UTF-8|2|unknown character set 'NOPE'
-f UTF-8 -t 28602|2|unknown character set '28602'
-t UTF-16BE|2|VYNCS_UTF16BE (1201) has no converter
-f VYNCS_EUC_TW|2|VYNCS_EUC_TW (51950) has no converter
-f ISO-2022-JP|2|VYNCS_ISO_2022JP (50220) has no converter
--on-error=ignore|2|unknown mode 'ignore'
--chunk-size 0|2|--chunk-size
-x|2|unknown option '-x'
-f|2|-f needs a character set
--path -f LATIN1 -t CP932|2|--path converts between UTF-8 and the default set
no-such-file|3|no-such-file
T
  check "-l lists 54 names" test "$("$V" -l | grep -c '^VYNCS_')" -eq 54
  check "-l: 41 served" test "$(served | wc -l)" -eq 41
  check "--help" sh -c "'$V' --help | grep -q -- --on-error"
  # Aliases, in any case, pick the set their number picks.
  while read -r alias number; do
    a=$(printf 'x\303\251\342\202\254\n' | "$V" -q -f UTF-8 -t "$alias" | hex)
    b=$(printf 'x\303\251\342\202\254\n' | "$V" -q -f UTF-8 -t "$number" | hex)
    check "alias $alias = $number" test -n "$a" -a "$a" = "$b"
  done <<'T'
utf-8 65001
UTF8 65001
utf-16le 1200
UTF-32 12000
latin1 28591
ISO8859-15 28605
iso-8859-2 28592
windows-1252 1252
Cp1250 1250
WINDOWS-874 874
sjis 30932
SHIFT_JIS 30932
Shift_JIS-2004 30933
windows-31j 932
ms932 932
euc-jp 51932
gb2312 51936
gbk 936
CP936 936
gb18030 54936
big5 30950
cp950 950
uhc 949
euc-kr 51949
koi8-r 20866
VYNCS_WCP1251 1251
vyncs_wcp1251 1251
-2 VYNCS_OS_DEFAULT
T
}

group_output() {
  printf 'caf\303\251\n' >in
  "$V" -f UTF-8 -t LATIN1 -o out in
  check "-o writes the file" test "$(hex <out)" = 636166e90a
  check "-o leaves no temporary file" test "$(ls | grep -c vynconv-)" -eq 0
  # A failing run leaves neither the output nor a temporary file, and an
  # existing output untouched.
  printf '\342\202\254' >euro
  "$V" --on-error=stop -f UTF-8 -t LATIN1 -o new euro 2>/dev/null
  check "stopped run: status" test $? -eq 1
  check "stopped run: no output" test ! -e new
  "$V" --on-error=stop -f UTF-8 -t LATIN1 -o out euro 2>/dev/null
  check "stopped run: old output kept" test "$(hex <out)" = 636166e90a
  "$V" -f UTF-8 -t LATIN1 -o new2 in missing-input 2>/dev/null
  check "unreadable input: status 3" test $? -eq 3
  check "unreadable input: no output" test ! -e new2
  check "no temporary files left" test "$(ls | grep -c vynconv-)" -eq 0
  # Replacing keeps a complete output: it is written.
  "$V" -f UTF-8 -t LATIN1 -o rep euro 2>/dev/null
  check "replaced run writes output" test "$(hex <rep)" = 3f
  # The output may be the input.
  cp in same
  "$V" -f UTF-8 -t UTF-16 -o same same
  check "output over its own input" test "$(hex <same)" = 630061006600e9000a00
  "$V" -f UTF-8 -t LATIN1 -o nodir/out in 2>err
  check "output in a missing directory: status 3" test $? -eq 3
  # Several inputs are concatenated.
  check "two inputs" test "$("$V" -f UTF-8 -t LATIN1 in in | hex)" = 636166e90a636166e90a
  check "--progress line" sh -c "'$V' --progress -f UTF-8 -t LATIN1 in 2>&1 >/dev/null | grep -q 'in: 0.0 MiB (100%)'"
}

group_locale() {
  # The default set and where it came from.
  while IFS='|' read -r env want from; do
    # shellcheck disable=SC2086
    out=$(env -u LANG $env "$V" --default)
    check "[$env] default: $out" sh -c "printf '%s' \"\$1\" | grep -qF -- \"\$2\"" _ "$out" "$want"
    check "[$env] source: $out" sh -c "printf '%s' \"\$1\" | grep -qF -- \"\$2\"" _ "$out" "$from"
  done <<'T'
LANG=ja_JP.eucJP|VYNCS_EUC_JP 51932|from: LANG=ja_JP.eucJP
LANG=en_US.UTF-8@euro|VYNCS_UTF8 65001|LANG=en_US.UTF-8@euro
LANG=ko_KR.EUC|VYNCS_EUC_KR 51949|LANG=ko_KR.EUC
LANG=ja_JP.ujis|VYNCS_WCP932 932|LANG=ja_JP.ujis
LANG=ru_RU.KOI8-R|VYNCS_ISO_8859_1 28591|unknown: fallback
LANG=zh_TW.EUC|VYNCS_EUC_TW 51950|converts it as VYNCS_UTF8
LC_ALL=C.UTF-8|VYNCS_ISO_8859_1 28591|setlocale(LC_CTYPE, NULL)=C
T
  # Without -f/-t the default set is used on both sides.
  check "default both sides" test "$(printf 'caf\351' | LANG=de_DE.ISO-8859-1 "$V" | hex)" = 636166e9
  check "default -t" test "$(printf 'caf\303\251' | LANG=de_DE.ISO-8859-1 "$V" -f UTF-8 | hex)" = 636166e9
  # File names: unmappable characters become U+XXXX text and come back.
  names=$(printf '\346\227\245.txt\ncaf\303\251\n')
  local_=$(printf '%s\n' "$names" | LANG=C "$V" --path -f UTF-8)
  check "path to local: $local_" test "$local_" = "$(printf 'U+65E5.txt\ncaf\351')"
  back=$(printf '%s\n' "$local_" | LANG=C "$V" --path -t UTF-8)
  check "path back to UTF-8" test "$back" = "$names"
  check "path NUL separated" test "$(printf 'a\0\346\227\245\0' | LANG=C "$V" --path -f UTF-8 | hex)" = 6100552b3635453500
}

group_agree() {
  # vynconv and iconv write the same bytes for the corpus (what a set cannot
  # hold dropped by both) in both directions. Sets whose tables differ on
  # purpose are left out:
  #   874   the library's table is not Windows 874 (no euro at 0x80, no 0x85,
  #         0x91-0x97; three control codes rotated);
  #   932   U+2014 is not mapped (0x815C is U+2015 here);
  #   950   no euro sign, a different dash;
  #   30932 0x5C and 0x7E stay ASCII here;
  #   30933 iconv's SHIFT_JISX0213 is the 2000 edition and maps 0x5C/0x7E apart;
  #   51932 no JIS X 0212 three-byte characters here;
  #   51949 no 1998 additions (euro, registered sign) here.
  command -v iconv >/dev/null || { echo "iconv missing: skipped"; return; }
  while read -r n name; do
    "$V" -q -c -f UTF-8 -t "$n" "$C" >ours
    iconv -c -f UTF-8 -t "$name" "$C" >theirs 2>/dev/null
    check "agree encode $name" cmp -s ours theirs
    "$V" -f "$n" -t UTF-8 theirs >ours2
    iconv -f "$name" -t UTF-8 theirs >theirs2
    check "agree decode $name" cmp -s ours2 theirs2
  done <<'T'
65001 UTF-8
1200 UTF-16LE
12000 UTF-32LE
1250 CP1250
1251 CP1251
1252 CP1252
1253 CP1253
1254 CP1254
1255 CP1255
1256 CP1256
1257 CP1257
1258 CP1258
20866 KOI8-R
28591 ISO-8859-1
28592 ISO-8859-2
28593 ISO-8859-3
28594 ISO-8859-4
28595 ISO-8859-5
28596 ISO-8859-6
28597 ISO-8859-7
28598 ISO-8859-8
28599 ISO-8859-9
28600 ISO-8859-10
28601 ISO-8859-11
28603 ISO-8859-13
28604 ISO-8859-14
28605 ISO-8859-15
28606 ISO-8859-16
936 CP936
949 CP949
30950 BIG5
51936 EUC-CN
54936 GB18030
T
}

group_long() {
  # Half a gigabyte through two conversions under a 256 MiB address-space
  # limit: memory use must stay flat. Not a timed test.
  (
    ulimit -v 262144
    yes "$(cat "$C")" | head -c 500000000 | "$V" -f UTF-8 -t GB18030 |
      "$V" -f GB18030 -t UTF-8 | cmp - <(yes "$(cat "$C")" | head -c 500000000)
  )
  check "500 MB stream in bounded memory" test $? -eq 0
}

"group_$GROUP"
echo "$pass passed, $fail failed"
[ "$fail" -eq 0 ]
