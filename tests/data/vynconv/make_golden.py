#!/usr/bin/env python3
"""Makes the golden files from corpus.txt with Python's codecs (run once; the
output is committed). For each set: NNN.utf8 holds the corpus lines the codec
can encode, NNN.bin the same lines encoded. Lines that need EUC-JP's three-byte
form are left out: vynulib64's EUC-JP has no JIS X 0212 characters."""
import os

here = os.path.dirname(os.path.abspath(__file__))
lines = open(os.path.join(here, 'corpus.txt'), encoding='utf-8').read().splitlines(keepends=True)
codecs = {
    1252: 'cp1252', 1251: 'cp1251', 1256: 'cp1256', 874: 'cp874', 20866: 'koi8_r',
    28591: 'iso8859_1', 28597: 'iso8859_7', 28598: 'iso8859_8',
    932: 'cp932', 30932: 'shift_jis', 30933: 'shift_jis_2004', 936: 'gbk', 949: 'cp949',
    950: 'cp950', 30950: 'big5', 51932: 'euc_jp', 51936: 'gb2312', 51949: 'euc_kr',
    54936: 'gb18030', 1200: 'utf-16-le', 12000: 'utf-32-le',
}


def escaped(text):
    units = text.encode('utf-16-le')
    out = []
    for i in range(0, len(units), 2):
        u = units[i] | units[i + 1] << 8
        out.append(chr(u) if u < 0x80 else 'U+%04X' % u)
    return ''.join(out).encode('ascii')


os.makedirs(os.path.join(here, 'golden'), exist_ok=True)
for number, codec in sorted(codecs.items()):
    keep = []
    for line in lines:
        try:
            data = line.encode(codec)
        except UnicodeEncodeError:
            continue
        if number == 51932 and b'\x8f' in data:
            continue
        keep.append(line)
    text = ''.join(keep)
    with open(os.path.join(here, 'golden', '%d.utf8' % number), 'wb') as f:
        f.write(text.encode('utf-8'))
    with open(os.path.join(here, 'golden', '%d.bin' % number), 'wb') as f:
        f.write(text.encode(codec))
text = ''.join(lines)
with open(os.path.join(here, 'golden', '1202.utf8'), 'wb') as f:
    f.write(text.encode('utf-8'))
with open(os.path.join(here, 'golden', '1202.bin'), 'wb') as f:
    f.write(escaped(text))
