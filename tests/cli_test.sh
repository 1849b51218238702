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
  # Random bytes, valid and not, give the same output and the same message
  # whatever the chunk size.
  head -c 6000 /dev/urandom >rnd
  { head -c 3000 "$C"; head -c 3000 /dev/urandom; head -c 3000 "$C"; } >half
  for n in UTF-8 UTF-16 UTF-16BE UTF-32 UCS-2 ASCII 1252 932 30933 950 949 51932 51936 54936 UTF-16ESC; do
    for f in rnd half; do
      "$V" -f "$n" -t UTF-16LE $f >ref 2>referr
      for c in 1 2 3 5 64; do
        "$V" --chunk-size $c -f "$n" -t UTF-16LE $f >out 2>err
        if cmp -s ref out && cmp -s referr err; then ok; else
          cp $f "${TMPDIR:-/tmp}/vynconv-chunk-$n-$c.in"
          bad "random $f as $n, chunk $c (input kept in ${TMPDIR:-/tmp})"
        fi
      done
    done
  done
  # UTF-8 to UTF-8 checks without converting: the same bytes, messages and
  # status as going through UTF-16, in every mode and chunk size.
  printf '\357\273\277' | cat - half >sig
  for f in rnd half sig; do
    for opts in "" -c --on-error=stop --remove-signature --add-signature; do
      for c in 1 3 65536; do
        # shellcheck disable=SC2086
        "$V" $opts --chunk-size $c -f UTF-8 -t UTF-8 $f >out 2>err
        r=$?
        # shellcheck disable=SC2086
        "$V" $opts --chunk-size $c -f UTF-8 -t UTF-16LE $f 2>referr | "$V" -f UTF-16LE -t UTF-8 >ref
        r2=${PIPESTATUS[0]}
        check "UTF-8 to UTF-8 [$opts] $f chunk $c" cmp -s ref out
        check "UTF-8 to UTF-8 [$opts] $f chunk $c: message" cmp -s referr err
        check "UTF-8 to UTF-8 [$opts] $f chunk $c: status $r" test "$r" = "$r2"
      done
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
  "$V" --chunk-size 65536 -f CP932 -t UTF-16LE dbcs >out 2>err
  iconv -f CP932 -t UTF-16LE dbcs >want
  check "long CP932 line: $(cat err)" cmp -s out want
  { printf '\201\100'; yes "$(printf '\201\060\201\060')" | tr -d '\n' | head -c 5000000; } >gb
  "$V" -f GB18030 -t UTF-16LE gb >out 2>err
  iconv -f GB18030 -t UTF-16LE gb >want
  check "long GB18030 line: $(cat err)" cmp -s out want
}

group_nul() {
  # from to input-hex expected-output-hex
  while read -r from to in want; do
    got=$(printf "$in" | "$V" -q -f "$from" -t "$to" | hex)
    check "NUL $from->$to $in: $got" test "$got" = "$want"
  done <<'T'
UTF-8 UTF-16LE a\0b\0\0 61000000620000000000
UTF-8 UTF-32LE \0\303\251 00000000e9000000
UTF-16 UTF-8 a\0\0\0b\0 610062
UTF-32 UTF-8 \0\0\0\0a\0\0\0 0061
UTF-8 CP932 \0\343\201\202\0 0082a000
UTF-16 UTF-16ESC \0\0\351\0 00552b30304539
GB18030 UTF-8 \201\060\0\201\060 efbfbd3000efbfbd
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
|UTF-8|LATIN1|ab\342\202\254c|61623f63|1|byte 2: U+20AC cannot be written in LATIN1
--on-error=stop|UTF-8|LATIN1|ab\342\202\254c|6162|1|byte 2: U+20AC cannot be written in LATIN1; stopped there
--on-error=escape|UTF-8|LATIN1|ab\342\202\254c|6162552b3230414363|1|U+20AC
--on-error=escape|UTF-8|CP932|\360\237\230\200|552b44383344552b44453030|1|byte 0: U+1F600 cannot
-c|UTF-8|LATIN1|ab\342\202\254c|616263|0|
-q|UTF-8|LATIN1|ab\342\202\254c|61623f63|1|
|UTF-8|UTF-16LE|a\200b\303|6100fdff6200fdff|1|byte 1: invalid UTF-8 input (byte 80) (and 1 more)
--on-error=stop|UTF-8|UTF-16LE|ab\303(|61006200|1|byte 2: invalid UTF-8 input (byte C3); stopped there
|UTF-8|UTF-16LE|\360\237\230\200|3dd800de|0|
|CP932|UTF-8|A\207\100B|41efbfbd42|1|byte 1: invalid CP932 input (bytes 87 40)
-c|CP932|UTF-8|A\207\100B\201|4142|0|
|CP936|UTF-8|\201\201\101|efbfbde4b884|1|byte 0: invalid CP936 input (byte 81)
|GB18030|UTF-8|xy\204\061\245\060z|7879efbfbd7a|1|byte 2: invalid GB18030 input (bytes 84 31 A5 30)
--on-error=stop|EUC-KR|UTF-8|\260\241\177z|eab080|1|byte 2: invalid EUC-KR input (byte 7F); stopped there
|UTF-16|UTF-8|a\0b|61efbfbd|1|byte 2: incomplete UTF-16 input at the end (byte 62)
|UTF-32|UTF-8|\0\0\021\0|efbfbd|1|byte 0: invalid UTF-32 input (bytes 00 00 11 00)
--lenient|UTF-16|GB18030|\0\330A\0|3f41|1|byte 0: U+D800 (a lone surrogate) cannot be written in GB18030
--lenient|UTF-16|UTF-8|A\0\0\330|413f|1|byte 2: U+D800 (a lone surrogate)
--lenient --on-error=escape|UTF-16|UTF-8|\0\330A\0|552b4438303041|1|byte 0: U+D800
--lenient --on-error=escape|UTF-16|UTF-8|\0\330|552b44383030|1|byte 0: U+D800
|UTF-8|ASCII|a\303\251|613f|1|byte 1: U+00E9 cannot be written in ASCII
|ASCII|UTF-8|a\351b|61efbfbd62|1|byte 1: invalid ASCII input (byte E9)
|UTF-8|ASCII//IGNORE|a\303\251\342\200\234b|6162|1|byte 1: U+00E9 cannot be written in ASCII (and 1 more)
-c|UTF-8|ASCII|a\303\251b|6162|0|
|UTF-8|UCS-2|\360\237\230\200|3f00|1|byte 0: U+1F600 cannot be written in UCS-2
|CP932|LATIN1|A\0\202\240\202\240|41003f3f|1|byte 2: U+3042 cannot be written in LATIN1 (and 1 more)
|GB18030|LATIN1|\0\0A\260\241|0000413f|1|byte 3: U+554A cannot be written in LATIN1
|EUC-KR|CP932|a\0\260\241|61003f|1|byte 2: U+AC00 cannot be written in CP932
|UTF-16BE|LATIN1|\0\0\0A\330=\336\0|00413f|1|byte 4: U+1F600 cannot be written in LATIN1
T
  # Offsets count from the start of each file, not of the chunk.
  { head -c 100000 /dev/zero | tr '\0' a; printf '\342\202\254'; } >far
  "$V" --chunk-size 1000 -f UTF-8 -t LATIN1 far >/dev/null 2>err
  check "offset past many chunks: $(cat err)" grep -qF "far: byte 100000: U+20AC" err
}

group_strict() {
  # Ill-formed Unicode input is an error by default, and --lenient gives the
  # library's own reading. options|from|input|want-UTF-16LE-hex|rc|stderr needle
  while IFS='|' read -r opts from in want rc needle; do
    printf "$in" >in
    # shellcheck disable=SC2086
    "$V" $opts -f "$from" -t UTF-16LE in >out 2>err
    r=$?
    check "[$opts $from $in] output $(hex <out)" test "$(hex <out)" = "$want"
    check "[$opts $from $in] status $r" test "$r" = "$rc"
    if [ -n "$needle" ]; then
      check "[$opts $from $in] message: $(cat err)" grep -qF -- "$needle" err
    else
      check "[$opts $from $in] quiet: $(cat err)" test ! -s err
    fi
  done <<'T'
|UTF-8|..\300\257..|2e002e00fdfffdff2e002e00|1|byte 2: invalid UTF-8 input (byte C0) (and 1 more)
|UTF-8|\364\220\200\200|fdfffdfffdfffdff|1|byte 0: invalid UTF-8 input (byte F4) (and 3 more)
|UTF-8|\355\240\200|fdfffdfffdff|1|byte 0: invalid UTF-8 input (byte ED)
|UTF-8|\340\200\257|fdfffdfffdff|1|byte 0: invalid UTF-8 input (byte E0)
|UTF-8|\370\210\200\200\200|fdfffdfffdfffdfffdff|1|byte 0: invalid UTF-8 input (byte F8)
|UTF-8|a\342\202|6100fdff|1|byte 1: incomplete UTF-8 input at the end (bytes E2 82)
|UTF-8|\342\202a|fdff6100|1|byte 0: invalid UTF-8 input (bytes E2 82)
|UTF-8|\364\217\277\277|ffdbffdf|0|
--lenient|UTF-8|..\300\257..|2e002e002f002e002e00|0|
--on-error=stop|UTF-16LE|a\0\0\334b\0|6100|1|byte 2: invalid UTF-16LE input (bytes 00 DC); stopped there
|UTF-16LE|\0\334\0\330a\0|fdfffdff6100|1|byte 0: invalid UTF-16LE input (bytes 00 DC) (and 1 more)
|UTF-16BE|\330\0|fdff|1|byte 0: incomplete UTF-16BE input at the end (bytes D8 00)
|UCS-2|=\330\0\336|fdfffdff|1|byte 0: invalid UCS-2 input (bytes 3D D8)
--lenient|UTF-16LE|\0\334a\0|00dc6100|0|
|UTF-32LE|\0\330\0\0\0\334\0\0|fdfffdff|1|byte 0: invalid UTF-32LE input (bytes 00 D8 00 00) (and 1 more)
|UTF-32BE|\0\021\0\0|fdff|1|invalid UTF-32BE input (bytes 00 11 00 00)
|UTF-32LE|a\0\0\0b\0|6100fdff|1|byte 4: incomplete UTF-32LE input at the end (bytes 62 00)
|CP932|A\201|4100fdff|1|byte 1: incomplete CP932 input at the end (byte 81)
|GB18030|A\201\060\201|4100fdff|1|byte 1: incomplete GB18030 input at the end (bytes 81 30 81)
|EUC-JP|a\244|6100fdff|1|byte 1: incomplete EUC-JP input at the end (byte A4)
|CP932|\377A|fdff4100|1|byte 0: invalid CP932 input (byte FF)
T
  # The first problem named is the first in the input, decoding or encoding.
  printf '\342\202\254\377' | "$V" -f UTF-8 -t LATIN1 >/dev/null 2>err
  check "first problem in input order: $(cat err)" grep -qF "byte 0: U+20AC cannot be written in LATIN1 (and 1 more)" err
  # Pairs and characters across region boundaries in every chunk size.
  printf 'a\360\237\230\200\303\251\342\202\254b' >mix
  for c in 1 2 3 5; do
    check "strict UTF-8 chunk $c" test "$("$V" --chunk-size $c -f UTF-8 -t UTF-16BE mix | hex)" = 0061d83dde0000e920ac0062
  done
}

group_oracle() {
  # Strict decoding replaces exactly what Python's codecs replace (both take
  # the longest ill-formed prefix as one character), on random and mixed
  # bytes, through both output paths.
  command -v python3 >/dev/null || { echo "python3 missing: skipped"; return; }
  head -c 200000 /dev/urandom >rnd
  { head -c 5000 "$C"; head -c 5000 /dev/urandom; head -c 5000 "$C"; } >half
  for f in rnd half; do
    while read -r ours theirs; do
      python3 -c 'import sys; sys.stdout.buffer.write(open(sys.argv[1], "rb").read().decode(sys.argv[2], "replace").encode(sys.argv[3], "surrogatepass"))' \
        $f "$theirs" "${ours#*:}" >want 2>/dev/null
      "$V" -q -f "${ours%%:*}" -t "${ours#*:}" $f >got
      if cmp -s want got; then ok; else
        cp $f "${TMPDIR:-/tmp}/vynconv-oracle-$theirs.in"
        bad "$f as $theirs to ${ours#*:} differs from Python (input kept in ${TMPDIR:-/tmp})"
      fi
    done <<'T'
UTF-8:UTF-8 utf-8
UTF-8:UTF-16LE utf-8
UTF-16LE:UTF-8 utf-16-le
UTF-16BE:UTF-16LE utf-16-be
UTF-32LE:UTF-8 utf-32-le
UTF-32BE:UTF-8 utf-32-be
T
  done
}

group_bom() {
  # Byte order and signatures, as iconv has them here.
  # options|from|to|input|want-hex
  while IFS='|' read -r opts from to in want; do
    # shellcheck disable=SC2086
    got=$(printf "$in" | "$V" $opts -f "$from" -t "$to" | hex)
    check "[$opts $from->$to $in] $got" test "$got" = "$want"
  done <<'T'
|UTF-16|UTF-8|\376\377\0A\0B|4142
--chunk-size 1|UTF-16|UTF-8|\376\377\0A\0B|4142
--chunk-size 1|UTF-32|UTF-8|\0\0\376\377\0\0\0A|41
--chunk-size 1 --remove-signature|UTF-8|UTF-8|\357\273\277A|41
--chunk-size 2 --remove-signature|UTF-8|UTF-16LE|\357\273\277A|4100
|UTF-16|UTF-8|\377\376A\0B\0|4142
|UTF-16|UTF-8|A\0B\0|4142
|UTF-16|UTF-8|\377\376A\0\377\376B\0|41efbbbf42
|UTF-32|UTF-8|\0\0\376\377\0\0\0A|41
|UTF-32|UTF-8|\377\376\0\0A\0\0\0|41
|UTF-32|UTF-8|A\0\0\0|41
|UTF-16LE|UTF-8|\377\376A\0|efbbbf41
|UTF-16BE|UTF-8|\376\377\0A|efbbbf41
|UCS-2|UTF-8|\377\376A\0|efbbbf41
|UCS-2BE|UTF-8|\0A|41
|UCS-4|UTF-8|\0\0\0A|41
|UCS-4LE|UTF-8|A\0\0\0|41
|UTF-32BE|UTF-8|\0\1\366\0|f09f9880
|UTF-8|UTF-16|A|fffe4100
|UTF-8|UTF-32|A|fffe000041000000
|UTF-8|UTF-16BE|A\360\237\230\200|0041d83dde00
|UTF-8|UTF-32BE|A\360\237\230\200|000000410001f600
|UTF-8|UCS-2|A|4100
|UTF-8|UCS-2BE|A|0041
|UTF-8|UCS-4|A|00000041
|UTF-8|UTF-16||
|UTF-8|UTF-8|\357\273\277A|efbbbf41
--remove-signature|UTF-8|UTF-8|\357\273\277A\357\273\277|41efbbbf
--remove-signature|UTF-16LE|UTF-8|\377\376A\0|41
--add-signature|UTF-8|UTF-8|A|efbbbf41
--add-signature|UTF-8|UTF-16LE|A|fffe4100
--add-signature|UTF-8|UTF-16BE|A|feff0041
--add-signature|UTF-8|UTF-16|A|fffe4100
--add-signature|UTF-8|LATIN1|A|41
T
  # Every fixed-order and marked form agrees with iconv both ways.
  command -v iconv >/dev/null || return
  printf 'A\303\251\342\202\254\n' >bmp
  for f in UTF-16 UTF-16LE UTF-16BE UCS-2 UCS-2LE UCS-2BE UTF-32 UTF-32LE UTF-32BE UCS-4 UCS-4LE UCS-4BE; do
    "$V" -f UTF-8 -t $f bmp >ours
    iconv -f UTF-8 -t $f bmp >theirs
    check "encode $f as iconv" cmp -s ours theirs
    check "decode $f as iconv" test "$("$V" -f $f -t UTF-8 theirs | hex)" = "$(iconv -f $f -t UTF-8 theirs | hex)"
  done
  for f in UTF-16 UTF-32; do
    iconv -f UTF-8 -t ${f}BE bmp >be
    { printf '\376\377' | iconv -f UTF-16BE -t ${f}BE; cat be; } >marked
    check "$f big-endian with a mark" test "$("$V" -f $f -t UTF-8 marked | hex)" = "$(hex <bmp)"
  done
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
-f VYNCS_EUC_TW|2|VYNCS_EUC_TW (51950) has no converter
-f ISO-2022-JP|2|VYNCS_ISO_2022JP (50220) has no converter
--on-error=ignore|2|unknown mode 'ignore'
--chunk-size 0|2|--chunk-size
-x|2|unknown option '-x'
-f|2|-f needs a character set
--path -c -f UTF-8|2|--path keeps every name
--path --on-error=stop -t UTF-8|2|--path keeps every name
-cf|2|-f needs a character set
-q -x|2|unknown option '-x'
-o|2|-o needs a file name
--path -f LATIN1 -t CP932|2|--path converts between UTF-8 and the default set
no-such-file|3|cannot open input file 'no-such-file'
T
  # As many names and served sets as the library's catalogue has.
  catalogue=$D/../../../src/vynulib/tables/data/charsets.tsv
  named=$(awk -F'\t' '!/^#/ && NF' "$catalogue" | wc -l)
  nserved=$(awk -F'\t' '!/^#/ && NF && $6 != "-"' "$catalogue" | wc -l)
  check "-l lists $named names" test "$("$V" -l | grep -c '^VYNCS_')" -eq "$named"
  check "-l: $nserved served" test "$(served | wc -l)" -eq "$nserved"
  check "--help" sh -c "'$V' --help | grep -q -- --on-error"
  # The manual page documents every option the help names.
  man=$D/../../../tools/vynconv/vynconv.1
  for opt in $("$V" --help | grep -o -- '--[a-z-]*' | sort -u); do
    check "manual documents $opt" grep -qF -- "$(printf '%s' "$opt" | sed 's/-/\\-/g')" "$man"
  done
  # Aliases, in any case, pick the set their number picks.
  while read -r alias number; do
    a=$(printf 'x\303\251\342\202\254\n' | "$V" -q -f UTF-8 -t "$alias" | hex)
    b=$(printf 'x\303\251\342\202\254\n' | "$V" -q -f UTF-8 -t "$number" | hex)
    check "alias $alias = $number" test -n "$a" -a "$a" = "$b"
  done <<'T'
utf-8 65001
UTF8 65001
utf-16le 1200
UTF-32LE 12000
UCS-4LE 12000
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
  "$V" -f UTF-8 -t UTF-16LE -o same same
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

group_compat() {
  # iconv's habits. Each row: arguments (input file "in" holds the text) | want-hex | rc
  printf 'caf\303\251 \342\200\234q\342\200\235 \305\223\342\200\246 \357\254\201 \344\270\200\n' >in
  printf 'ab' >ab
  while IFS='|' read -r args want rc; do
    # shellcheck disable=SC2086
    "$V" $args >out 2>/dev/null
    r=$?
    got=$(hex <out)
    check "[$args] $got" test "$got" = "$want"
    check "[$args] status $r" test "$r" = "$rc"
  done <<'T'
-f UTF-8 -t ASCII//TRANSLIT in|6361666520227122206f652e2e2e206669203f0a|1
-f UTF-8 -t LATIN1//TRANSLIT in|636166e920227122206f652e2e2e206669203f0a|1
-f UTF-8 -t ASCII//TRANSLIT//IGNORE in|6361666520227122206f652e2e2e206669200a|1
-f UTF-8 -t us-ascii ab|6162|0
-f UTF-8 -t ANSI_X3.4-1968 ab|6162|0
-f UTF-8 -t 646 ab|6162|0
-f UTF-8 -t CP367 ab|6162|0
--from-code=UTF-8 --to-code=UTF-16BE ab|00610062|0
--from-code UTF-8 --to-code UTF-16LE ab|61006200|0
-fUTF-8 -tUCS-2BE ab|00610062|0
-cs -f UTF-8 -t ASCII in|63616620712020200a|0
-sc -fUTF-8 -t ASCII in|63616620712020200a|0
-f UTF-8 -t LATIN1 --output=- ab|6162|0
-f UTF-8 -t LATIN1 -o - ab|6162|0
-f UTF-8 -t LATIN1 -- ab|6162|0
-f UTF-8 -t LATIN1 ab missing ab|61626162|3
T
  check "-o - makes no file" test ! -e -
  # -- ends the options: a file named like one is read.
  printf 'x' >-c
  check "-- then -c as a file" test "$("$V" -f UTF-8 -t LATIN1 -- -c | hex)" = 78
  "$V" -f UTF-8 -t LATIN1 ab missing ab >/dev/null 2>err
  check "unopenable input named: $(cat err)" grep -qF "cannot open input file 'missing'" err
  "$V" -f UTF-8 -t LATIN1 "" ab >out 2>err
  check "empty file name quoted: $(cat err)" grep -qF "cannot open input file ''" err
  check "empty file name: others converted" test "$(hex <out)" = 6162
  check "-s: no message" sh -c "printf '\303\251' | '$V' -s -f UTF-8 -t ASCII 2>&1 >/dev/null | wc -c | grep -qx 0"
  check "-V" sh -c "'$V' -V | grep -q '^vynconv (vynulib64) [0-9]'"
  check "--version" sh -c "'$V' --version | grep -q '^vynconv'"
  check "--verbose names inputs" sh -c "'$V' --verbose -f UTF-8 -t LATIN1 '$W/ab' 2>&1 >/dev/null | grep -qx '$W/ab:'"
  # The set the user typed is the one named, whatever case.
  printf '\377' | "$V" -f latin1 -t Us-Ascii >/dev/null 2>err
  check "typed name in message: $(cat err)" grep -qF "cannot be written in Us-Ascii" err
  # //TRANSLIT agrees with iconv where both know an approximation.
  command -v iconv >/dev/null || return
  printf '\342\200\234\342\200\230\342\200\224\342\200\246\305\223\303\206\303\251\303\274\357\254\201\n' >tr
  check "//TRANSLIT as iconv" test "$("$V" -f UTF-8 -t ASCII//TRANSLIT tr | hex)" = "$(iconv -f UTF-8 -t ASCII//TRANSLIT tr | hex)"
}

group_outputkinds() {
  [ "$(uname)" = Linux ] || { echo "not Linux: skipped"; return; }
  printf 'caf\303\251\n' >in
  # A symbolic link is followed: the link stays, its target changes.
  printf 'old' >target
  ln -s target link
  "$V" -f UTF-8 -t LATIN1 -o link in
  check "symlink kept" test -L link
  check "symlink target written" test "$(hex <target)" = 636166e90a
  ln -s missing-target dangling
  "$V" -f UTF-8 -t LATIN1 -o dangling in
  check "dangling symlink: target created" test -L dangling -a "$(hex <missing-target)" = 636166e90a
  # Hard links are written in place: every name sees the new text.
  printf 'old' >h1
  ln h1 h2
  "$V" -f UTF-8 -t LATIN1 -o h1 in
  check "hard link: still one file" test h1 -ef h2
  check "hard link: other name updated" test "$(hex <h2)" = 636166e90a
  # A device stays a device; a FIFO is written through.
  "$V" -f UTF-8 -t LATIN1 -o /dev/null in
  check "device kept" test -c /dev/null
  mkfifo fifo
  cat fifo >fromfifo &
  "$V" -f UTF-8 -t LATIN1 -o fifo in
  wait
  check "FIFO written through" test -p fifo -a "$(hex <fromfifo)" = 636166e90a
  # Mode, owner and group survive a replacement.
  printf 'old' >moded
  chmod 640 moded
  "$V" -f UTF-8 -t LATIN1 -o moded in
  check "mode kept" test "$(stat -c %a moded)" = 640
  if [ "$(id -u)" = 0 ]; then
    chown 65534:65534 moded
    "$V" -f UTF-8 -t LATIN1 -o moded in
    check "owner and group kept" test "$(stat -c %u:%g moded)" = 65534:65534
    # As another user: a read-only file is refused, a writable file in a
    # directory that takes no new file is written in place.
    mkdir ro
    printf 'old' >ro/locked
    printf 'old' >ro/open
    chown 65534 ro/open
    chmod 444 ro/locked
    chmod 555 ro
    chmod 644 "$W/in"
    chmod 755 "$W"
    setpriv --reuid=65534 --regid=65534 --clear-groups "$V" -f UTF-8 -t LATIN1 -o ro/locked "$W/in" 2>err
    check "read-only output refused: status $?" test $? -ne 0
    check "read-only output: message $(cat err)" grep -qF "ro/locked: cannot write it" err
    check "read-only output untouched" test "$(cat ro/locked)" = old
    setpriv --reuid=65534 --regid=65534 --clear-groups "$V" -f UTF-8 -t LATIN1 -o ro/open "$W/in"
    check "unwritable directory: written in place" test "$(hex <ro/open)" = 636166e90a
    chmod 755 ro
  else
    echo "not root: owner and permission cases skipped"
  fi
  check "no temporary files left" test "$(find . -name '*vynconv-*' | wc -l)" -eq 0
}

group_signals() {
  # The temporary file goes with every signal that can be caught; a signal
  # inherited as ignored stays ignored (nohup).
  printf 'abc\n' >in
  # Under the sanitizers, theirs handle the faults.
  local sigs="HUP INT QUIT TERM PIPE USR1 ALRM XFSZ XCPU ABRT"
  [ -z "${VYN_CLI_SANITIZED:-}" ] && sigs="$sigs SEGV BUS"
  for sig in $sigs; do
    rm -f slow out out.vynconv-*
    mkfifo slow
    env --default-signal "$V" -f UTF-8 -t LATIN1 -o out slow &
    pid=$!
    exec 3>slow
    printf 'abc' >&3
    sleep 0.2
    kill -s "$sig" $pid
    wait $pid
    r=$?
    exec 3>&-
    check "SIG$sig ends the run (status $r)" test "$r" -gt 128
    check "SIG$sig: no temporary file" test "$(ls | grep -c vynconv-)" -eq 0
    check "SIG$sig: no output" test ! -e out
  done
  rm -f slow
  mkfifo slow
  (trap '' HUP; exec "$V" -f UTF-8 -t LATIN1 -o out slow) &
  pid=$!
  exec 3>slow
  sleep 0.2
  kill -s HUP $pid
  printf 'abc' >&3
  exec 3>&-
  wait $pid
  check "ignored SIGHUP stays ignored (status $?)" test "$(cat out 2>/dev/null)" = abc
}

group_path() {
  # Names that do not come back the same way are reported, not lost silently.
  printf 'ok\nbad\377name\nfine\n' >names
  LANG=en_US.UTF-8 "$V" --path -t UTF-8 names >out 2>err
  check "lossy name: status $?" test $? -eq 1
  check "lossy name: message $(cat err)" grep -qF "names: byte 3: a name that does not come back" err
  printf 'ok\n\346\227\245\n' | LANG=C "$V" --path -f UTF-8 >out 2>err
  check "escaped names are kept: status $?" test $? -eq 0 -a ! -s err
  printf 'a\300\257b\n' | LANG=C "$V" --path -f UTF-8 >/dev/null 2>err
  check "ill-formed UTF-8 name reported: status $?" test $? -eq 1
}

# Seconds of user and system time a command takes.
cputime() {
  local TIMEFORMAT='%3U %3S'
  { time "$@" >/dev/null 2>&1; } 2>&1 | awk '{ print $1 + $2 }'
}

# Fails when the time for 8 units is more than 24 times the time for one (a
# linear run gives 8, a quadratic one 64), with a floor for timer noise.
grows_linearly() { # what small-file large-file command...
  local what=$1 small=$2 large=$3
  shift 3
  local t1 t8
  t1=$(cputime "$@" "$small")
  t8=$(cputime "$@" "$large")
  check "$what grows linearly ($t1 s -> $t8 s)" awk -v a="$t1" -v b="$t8" 'BEGIN { exit !(b <= 24 * a + 0.5) }'
}

group_linear() {
  # 8 MiB of 0x80 and of 0xFF in every set, and a long UTF-8 paragraph with
  # no newline read as every multibyte set. Smaller under the sanitizers.
  local mib=1048576 scale=8
  [ -n "${VYN_CLI_SANITIZED:-}" ] && mib=131072
  for b in 200 377; do
    head -c $mib /dev/zero | tr '\0' "\\$b" >s$b
    head -c $((mib * scale)) /dev/zero | tr '\0' "\\$b" >l$b
  done
  tr '\n' ' ' <"$C" >para
  while [ "$(wc -c <para)" -lt $((2 * mib)) ]; do cat para para >p2 && mv p2 para; done
  head -c $((2 * mib)) para >sp
  for i in 1 2 3 4 5 6 7 8; do cat sp; done >lp
  local limit=""
  [ -z "${VYN_CLI_SANITIZED:-}" ] && limit=65536
  for n in $(served) ASCII UTF-16BE UTF-32BE; do
    for b in 200 377; do
      grows_linearly "set $n byte \\$b" s$b l$b "$V" -q -f "$n" -t UTF-16LE
    done
    if [ -n "$limit" ]; then
      (ulimit -v $limit; "$V" -q -f "$n" -t UTF-8 l377 >/dev/null)
      check "set $n: 8 MiB of 0xFF in a 64 MiB address space" test $? -le 1
    fi
  done
  # Japanese without a space: no byte below 0x80 to cut at in any set.
  printf '\346\227\245\346\234\254\350\252\236\343\201\256\343\203\206\343\202\255\343\202\271\343\203\210' >cjk
  while [ "$(wc -c <cjk)" -lt $((2 * mib)) ]; do cat cjk cjk >c2 && mv c2 cjk; done
  head -c $((2 * mib)) cjk >sj
  for i in 1 2 3 4 5 6 7 8; do cat sj; done >lj
  for n in 932 936 949 950 30932 30933 30950 51932 51936 51949 54936 65001; do
    grows_linearly "UTF-8 paragraph read as $n" sp lp "$V" -q -f "$n" -t UTF-16LE
    grows_linearly "spaceless UTF-8 paragraph read as $n" sj lj "$V" -q -f "$n" -t UTF-16LE
  done
}

"group_$GROUP"
echo "$pass passed, $fail failed"
[ "$fail" -eq 0 ]
