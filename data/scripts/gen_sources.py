#!/usr/bin/python3
"""Generate the library's text data tables from public data installed by Debian packages.

Usage:  /usr/bin/python3 data/scripts/gen_sources.py [--stats FILE] [OUTDIR]

OUTDIR defaults to the data/ folder above this script.  Python 3 standard library only.
Reads (Debian package in brackets, licenses in data/NOTICE):
  /usr/share/unicode/Unihan_*.txt.bz2, CJKRadicals.txt, EquivalentUnifiedIdeograph.txt   [unicode-data]
  /usr/share/opencc/*.ocd2, dumped to text with /usr/bin/opencc_dict                     [libopencc1.1, opencc]
  /usr/lib/python3/dist-packages/confusable_homoglyphs/confusables.json                  [python3-confusable-homoglyphs]
  /usr/share/gocode/src/github.com/mozillazg/go-pinyin/pinyin_dict.go                    [golang-github-mozillazg-go-pinyin-dev]
  /usr/lib/python3/dist-packages/jieba/{dict.txt,finalseg/*.py,posseg/*.py}               [python3-jieba]
  glibc iconv (GB18030, BIG5) through ctypes, Python codecs gbk / gb2312 / gb18030 / cp950 / big5 / big5hkscs.
Nothing else is read: no GPL/LGPL/CC-BY-SA data, and no evaluation text.  A missing source is an
error (the tables would silently shrink otherwise).

Writes, under OUTDIR:
  encoding/   GBK<->Unicode, UTF-8 one-way extras, BIG5<->GBK, GBKA (traditional) <-> GBK tables
  xingzi/     look-alike table: Xing2Zi.gbk.txt (import file "src dst") and xing2zi.tsv (annotated),
              decomp_pairs.tsv (every generated decomposition pair with its tier; tiers A and B are used)
  pinyin/     pinyin.gbk.txt (import file "char syllable", most common reading first) and pinyin.tsv
  segmenter/  jieba dictionary "word freq tag" in GBK, HMM parameters of the segmenter and tagger
*.tsv files are UTF-8 with provenance columns; *.gbk.txt files are GBK.  Output is deterministic.
"""
import ast
import bz2
import collections
import ctypes
import ctypes.util
import json
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unicodedata

UNI = '/usr/share/unicode/'
OPENCC_DIR = '/usr/share/opencc/'
CONFUSABLES = '/usr/lib/python3/dist-packages/confusable_homoglyphs/confusables.json'
GO_PINYIN = '/usr/share/gocode/src/github.com/mozillazg/go-pinyin/pinyin_dict.go'
JIEBA = '/usr/lib/python3/dist-packages/jieba/'

STATS = collections.OrderedDict()


def stat(key, value):
    STATS[key] = value
    print('%-60s %s' % (key, value))


CF = {}  # confusables.json, loaded by main()
GBK_OF = {}  # char -> GBK code in hex, filled by main(); used to write GBK files that include GB18030 extras


class GbkWriter:
    """Text file written through the generated GBK table (Python's gbk codec lacks the GB18030 extras)."""
    def __init__(self, path):
        self.fh = open(path, 'wb')

    def write(self, s):
        self.fh.write(b''.join(bytes.fromhex(GBK_OF[c]) for c in s))

    def __enter__(self):
        return self

    def __exit__(self, *a):
        self.fh.close()


def cp936_ok(s):
    try:
        s.encode('gbk')
        return True
    except UnicodeEncodeError:
        return False


def is_pua(ch):
    cp = ord(ch)
    return 0xE000 <= cp <= 0xF8FF or 0xF0000 <= cp


def uhex(s):
    return ' '.join('U+%04X' % ord(c) for c in s)


# ----------------------------------------------------------------------------------------------
# glibc iconv through ctypes (only to get GB18030-2005 code points that Python maps to PUA)
class Iconv:
    def __init__(self, to, frm):
        self.libc = ctypes.CDLL(ctypes.util.find_library('c'), use_errno=True)
        self.libc.iconv_open.restype = ctypes.c_void_p
        self.libc.iconv_open.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
        self.libc.iconv.restype = ctypes.c_size_t
        self.libc.iconv.argtypes = [ctypes.c_void_p] + [ctypes.c_void_p] * 4
        self.cd = self.libc.iconv_open(to.encode(), frm.encode())
        if self.cd in (None, 2 ** 64 - 1, 2 ** 32 - 1):
            raise OSError('iconv_open failed')

    def conv(self, b):
        self.libc.iconv(self.cd, None, None, None, None)
        inbuf = ctypes.create_string_buffer(b, len(b))
        outbuf = ctypes.create_string_buffer(64)
        inp = ctypes.c_char_p(ctypes.addressof(inbuf))
        outp = ctypes.c_char_p(ctypes.addressof(outbuf))
        inl = ctypes.c_size_t(len(b))
        outl = ctypes.c_size_t(64)
        r = self.libc.iconv(self.cd, ctypes.byref(inp), ctypes.byref(inl), ctypes.byref(outp), ctypes.byref(outl))
        if r == ctypes.c_size_t(-1).value or inl.value:
            return None
        return outbuf.raw[:64 - outl.value].decode('utf-8')


def two_byte_codes(trails):
    for lead in range(0x81, 0xFF):
        for trail in trails:
            yield bytes([lead, trail])


GBK_TRAILS = [t for t in range(0x40, 0xFF) if t != 0x7F]
BIG5_TRAILS = list(range(0x40, 0x7F)) + list(range(0xA1, 0xFF))


# ----------------------------------------------------------------------------------------------
# Unihan
def read_unihan(fname, fields):
    out = {f: {} for f in fields}
    with bz2.open(UNI + fname, 'rt', encoding='utf-8') as fh:
        for line in fh:
            if line.startswith('#') or '\t' not in line:
                continue
            cp, field, value = line.rstrip('\n').split('\t', 2)
            if field in out:
                out[field][chr(int(cp[2:], 16))] = value
    return out


def unihan_targets(value):
    """'U+5F35<kMatthews U+5F20' -> ['張', '张'] (source tags dropped)."""
    return [chr(int(item.split('<')[0][2:], 16)) for item in value.split()]


TONE_MARKS = str.maketrans({'ü': 'v'})


def strip_tone(p):
    # ü (u + combining diaeresis after NFD) becomes v before the tone marks are dropped: 绿 lǜ -> lv
    p = unicodedata.normalize('NFD', p.strip().lower()).replace('u\u0308', 'v')
    p = ''.join(c for c in p if unicodedata.category(c) != 'Mn')
    return p.translate(TONE_MARKS)


# ----------------------------------------------------------------------------------------------
def build_gbk(out):
    """GBK two-byte table: CP936 (Python gbk == glibc GBK) plus the GB18030-2005 non-PUA extras."""
    # glibc's GB18030 follows the 2005 mapping; Python's gb18030 still maps 25 of the extra cells to PUA
    ic = Iconv('UTF-8', 'GB18030')
    g18name = 'glibc GB18030'
    rows = []  # (gbk bytes, char, source)
    n_code = 0
    pua = 0
    undefined = 0
    for b in two_byte_codes(GBK_TRAILS):
        n_code += 1
        try:
            ch = b.decode('gbk')
            rows.append((b, ch, 'cp936'))
            continue
        except UnicodeDecodeError:
            pass
        g = ic.conv(b)
        if g is None:
            undefined += 1
        elif is_pua(g):
            pua += 1
        else:
            rows.append((b, g, 'gb18030'))
    stat('gbk.two_byte_code_space', n_code)
    stat('gbk.cp936_chars', sum(1 for r in rows if r[2] == 'cp936'))
    stat('gbk.gb18030_2005_extra_chars (%s)' % g18name, sum(1 for r in rows if r[2] == 'gb18030'))
    stat('gbk.codes_only_PUA_in_gb18030', pua)
    stat('gbk.user_defined_area_codes', sum(
        1 for b in two_byte_codes(GBK_TRAILS)
        if (0xAA <= b[0] <= 0xAF and b[1] >= 0xA1) or (0xF8 <= b[0] <= 0xFE and b[1] >= 0xA1)
        or (0xA1 <= b[0] <= 0xA7 and b[1] <= 0xA0)))
    # python gb18030 maps 25 of the extras to PUA: keep them as one-way UTF-8 -> GBK aliases
    old_pua = []
    for b, ch, src in rows:
        if src == 'gb18030':
            p = b.decode('gb18030')
            if p != ch:
                old_pua.append((p, b))
    han = [r for r in rows if unicodedata.name(r[1], '').startswith('CJK UNIFIED')
           or unicodedata.name(r[1], '').startswith('CJK COMPATIBILITY IDEOGRAPH')]
    stat('gbk.hanzi (CJK unified+compat) cp936', sum(1 for r in han if r[2] == 'cp936'))
    stat('gbk.hanzi incl. gb18030 extras', len(han))
    with open(os.path.join(out, 'enc_gbk_unicode.tsv'), 'w', encoding='utf-8') as f:
        f.write('#gbk\tunicode\tchar\tsource\n')
        for i in range(0x80):
            f.write('%02X\tU+%04X\t%s\tascii\n' % (i, i, chr(i) if 0x21 <= i < 0x7F else ''))
        f.write('80\tU+20AC\t€\tcp936-single-byte(one-way: glibc GBK/CP936 decode 0x80 as euro; euro encodes to A2E3)\n')
        for b, ch, src in rows:
            f.write('%s\tU+%04X\t%s\t%s\n' % (b.hex().upper(), ord(ch), ch, src))
        for p, b in old_pua:
            f.write('%s\tU+%04X\t\tpua-alias(one-way UTF-8->GBK, python/GB18030-2000 PUA)\n' % (b.hex().upper(), ord(p)))
    stat('gbk.table_rows', 128 + 1 + len(rows) + len(old_pua))
    return rows


def build_utf8_extras(out, gbk_of, V, irg):
    """One-way UTF-8 -> GBK rows for Unicode characters that GBK lacks."""
    eq = {}
    with open(UNI + 'EquivalentUnifiedIdeograph.txt', encoding='utf-8') as fh:
        for line in fh:
            line = line.split('#')[0].strip()
            if not line:
                continue
            a, b = [x.strip() for x in line.split(';')]
            lo, hi = (a.split('..') + [a])[:2] if '..' in a else (a, a)
            for cp in range(int(lo, 16), int(hi, 16) + 1):
                eq[chr(cp)] = chr(int(b, 16))
    rows = []
    cnt = collections.Counter()
    for cp in list(range(0x80, 0x30000)):
        if 0xD800 <= cp <= 0xDFFF:
            continue
        ch = chr(cp)
        if ch in gbk_of or unicodedata.category(ch) in ('Cn', 'Co', 'Cs'):
            continue
        tgt, via = None, None
        if ch in eq and eq[ch] in gbk_of:
            tgt, via = eq[ch], 'EquivalentUnifiedIdeograph'
        if tgt is None:
            n = unicodedata.normalize('NFKC', ch)
            if n != ch and n.strip() and all(c in gbk_of for c in n) and len(n) <= 3:
                tgt, via = n, 'NFKC'
        if tgt is None and ('CJK' in unicodedata.name(ch, '')):
            for field in ('kCompatibilityVariant', 'kSimplifiedVariant', 'kTraditionalVariant',
                          'kZVariant', 'kSemanticVariant', 'kSpoofingVariant'):
                src = irg.get(field, {}) if field == 'kCompatibilityVariant' else V.get(field, {})
                if ch in src:
                    c = [t for t in unihan_targets(src[ch]) if t in gbk_of and t != ch]
                    if c:
                        tgt, via = c[0], field
                        break
        if tgt is not None:
            rows.append((ch, tgt, via))
            cnt[via] += 1
    with open(os.path.join(out, 'enc_utf8_extra.tsv'), 'w', encoding='utf-8') as f:
        f.write('#unicode\tchar\tgbk\ttarget\tvia\n')
        for ch, tgt, via in rows:
            f.write('%s\t%s\t%s\t%s\t%s\n' % (uhex(ch), ch, ' '.join(gbk_of[c] for c in tgt), tgt, via))
    stat('utf8_extra.rows (one-way UTF-8 -> GBK)', len(rows))
    stat('utf8_extra.by_source', dict(cnt))
    return rows


# ----------------------------------------------------------------------------------------------
def dump_opencc(tmp):
    tool = shutil.which('opencc_dict')
    dicts = {}
    if not tool:
        sys.exit('opencc_dict not found (Debian package opencc)')
    for name in ('TSCharacters', 'TSPhrases', 'STCharacters', 'STPhrases', 'JPVariants'):
        src = os.path.join(OPENCC_DIR, name + '.ocd2')
        dst = os.path.join(tmp, name + '.txt')
        subprocess.run([tool, '-i', src, '-o', dst, '-f', 'ocd2', '-t', 'text'], check=True)
        d = collections.OrderedDict()
        with open(dst, encoding='utf-8') as fh:
            for line in fh:
                k, v = line.rstrip('\n').split('\t')
                d[k] = v.split(' ')
        dicts[name] = d
        stat('opencc.%s entries' % name, len(d))
    return dicts


def build_t2s(out, gbk_of, gb2312, V, oc):
    """Traditional -> simplified restricted to GBK, and simplified -> traditional."""
    t2s, src_of = {}, {}
    for c, tl in oc['TSCharacters'].items():
        if c in gbk_of:
            tl = [t for t in tl if t in gbk_of]
            if tl and tl[0] != c:
                t2s[c] = tl[0]
                src_of[c] = 'opencc'
    uni_only = 0
    for c, v in V['kSimplifiedVariant'].items():
        if c in gbk_of and c not in t2s:
            tl = [t for t in unihan_targets(v) if t in gbk_of and t != c]
            # Unihan lists a char as its own simplified variant when it is used in both scripts
            if tl and c not in unihan_targets(v):
                t2s[c] = tl[0]
                src_of[c] = 'unihan'
                uni_only += 1
    # OpenCC maps some characters to a form that is itself traditional (薴 -> 苧 -> 苎): follow to the end
    chained = 0
    for c in list(t2s):
        seen = {c}
        d = t2s[c]
        while d in t2s and d not in seen:
            seen.add(d)
            d = t2s[d]
        if d != t2s[c] and d not in seen:
            t2s[c] = d
            chained += 1
    stat('t2s.chains_resolved', chained)
    trad_in_gbk = sum(1 for c, v in V['kSimplifiedVariant'].items()
                      if c in gbk_of and any(t != c for t in unihan_targets(v)))
    stat('t2s.gbk_chars_with_unihan_kSimplifiedVariant!=self', trad_in_gbk)
    stat('t2s.gbk_trad_chars_with_gbk_simplified_target', len(t2s))
    stat('t2s.same, both sides in CP936 (no GB18030 extras)', sum(
        1 for c, s in t2s.items() if len(gbk_of[c]) == 4 and cp936_ok(c) and cp936_ok(s)))
    stat('t2s.from_opencc', sum(1 for v in src_of.values() if v == 'opencc'))
    stat('t2s.from_unihan_only', uni_only)
    amb = [c for c in t2s if c in gb2312]
    stat('t2s.sources_also_in_GB2312 (context-dependent)', '%d %s' % (len(amb), ''.join(amb)))
    s2t = {}
    for c, tl in oc['STCharacters'].items():
        if c in gbk_of:
            tl = [t for t in tl if t in gbk_of and t != c]
            if tl:
                s2t[c] = tl
    for c, v in V['kTraditionalVariant'].items():
        if c in gbk_of and c not in s2t:
            tl = [t for t in unihan_targets(v) if t in gbk_of and t != c]
            if tl and c not in unihan_targets(v):
                s2t[c] = tl
    stat('s2t.gbk_simplified_chars_with_gbk_traditional_target', len(s2t))
    stat('s2t.one_to_many', sum(1 for v in s2t.values() if len(v) > 1))
    with open(os.path.join(out, 'gbka_t2s.tsv'), 'w', encoding='utf-8') as f:
        f.write('#traditional\tsimplified\tgbk_trad\tgbk_simp\tsource\tin_gb2312\n')
        for c in sorted(t2s, key=lambda x: gbk_of[x]):
            f.write('%s\t%s\t%s\t%s\t%s\t%s\n' % (c, t2s[c], gbk_of[c], gbk_of[t2s[c]], src_of[c],
                                                   'yes' if c in gb2312 else 'no'))
    with GbkWriter(os.path.join(out, 'gbka_t2s.gbk.txt')) as f:
        for c in sorted(t2s, key=lambda x: gbk_of[x]):
            f.write('%s %s\n' % (c, t2s[c]))
    with open(os.path.join(out, 'gbka_s2t.tsv'), 'w', encoding='utf-8') as f:
        f.write('#simplified\ttraditional_candidates(first=default)\n')
        for c in sorted(s2t, key=lambda x: gbk_of[x]):
            f.write('%s\t%s\n' % (c, ' '.join(s2t[c])))
    with GbkWriter(os.path.join(out, 'gbka_s2t.gbk.txt')) as f:
        for c in sorted(s2t, key=lambda x: gbk_of[x]):
            f.write('%s %s\n' % (c, s2t[c][0]))
    # phrase units for the maximum-matching converter (both sides GBK)
    for name, fn in (('TSPhrases', 'gbka_t2s_phrases.gbk.txt'), ('STPhrases', 'gbka_s2t_phrases.gbk.txt')):
        n = 0
        with GbkWriter(os.path.join(out, fn)) as f:
            for k, vl in sorted(oc[name].items()):
                if all(ch in gbk_of for ch in k) and all(ch in gbk_of for ch in vl[0]):
                    f.write('%s %s\n' % (k, vl[0]))
                    n += 1
        stat('%s.gbk_encodable_rows' % name, n)
    return t2s, s2t


# ----------------------------------------------------------------------------------------------
def build_big5(out, gbk_of, t2s, s2t, V):
    maps = {}
    counts = {}
    for codec in ('big5', 'cp950', 'big5hkscs'):
        m = {}
        for b in two_byte_codes(BIG5_TRAILS):
            try:
                m[b] = b.decode(codec)
            except UnicodeDecodeError:
                pass
        maps[codec] = m
        counts[codec] = len(m)
    try:
        ic = Iconv('UTF-8', 'BIG5')
        g = {b: ic.conv(b) for b in two_byte_codes(BIG5_TRAILS)}
        g = {b: s for b, s in g.items() if s is not None}
        counts['glibc BIG5'] = len(g)
        counts['glibc BIG5 PUA'] = sum(1 for s in g.values() if is_pua(s))
    except OSError:
        pass
    stat('big5.decodable_codes', counts)
    m = dict(maps['big5'])
    m.update(maps['cp950'])  # cp950 (Microsoft, ETEN F9D6-F9FE, euro A3E1) wins where both decode
    setof = {b: 'big5' for b in m}
    for b, ch in maps['big5hkscs'].items():  # Hong Kong extension only where plain BIG5 has nothing
        if b not in m and len(ch) == 1:
            m[b] = ch
            setof[b] = 'hkscs'
    stat('big5.hkscs_extension_codes', sum(1 for v in setof.values() if v == 'hkscs'))
    han = sum(1 for s in m.values() if unicodedata.name(s, '').startswith('CJK UNIFIED')
              or unicodedata.name(s, '').startswith('CJK COMPATIBILITY IDEOGRAPH'))
    stat('big5.table_chars (cp950 + big5 + hkscs extension)', len(m))
    stat('big5.plain_big5_chars (cp950 + big5)', sum(1 for v in setof.values() if v == 'big5'))
    stat('big5.plain_big5_hanzi', sum(1 for b, v in setof.items() if v == 'big5' and (
        unicodedata.name(m[b], '').startswith(('CJK UNIFIED', 'CJK COMPATIBILITY IDEOGRAPH')))))
    stat('big5.hanzi incl. hkscs', han)
    rows = []
    via_cnt = collections.Counter()
    for b in sorted(m):
        ch = m[b]
        if ch in gbk_of:
            tgt, via = ch, 'same'
        else:
            n = unicodedata.normalize('NFKC', ch)
            alt = [x['c'] for x in CF.get(ch, []) if x['c'] in gbk_of]
            if len(n) == 1 and n in gbk_of:
                tgt, via = n, 'nfkc'
            elif alt:
                tgt, via = alt[0], 'confusable'
            else:
                tgt, via = None, 'none'
                for field in ('kSimplifiedVariant', 'kTraditionalVariant', 'kZVariant', 'kSemanticVariant',
                              'kSpoofingVariant'):
                    if ch in V[field]:
                        c = [t for t in unihan_targets(V[field][ch]) if t in gbk_of and t != ch]
                        if c:
                            tgt, via = c[0], field
                            break
        via_cnt[(setof[b], via)] += 1
        simp = t2s.get(tgt, tgt) if tgt else None
        rows.append((b, ch, tgt, simp, via))
    stat('big5->gbk.by_(set,route)', {'%s/%s' % k: v for k, v in sorted(via_cnt.items())})
    stat('big5->gbk.via_confusable', ' '.join('%s>%s' % (r[1], r[2]) for r in rows if r[4] == 'confusable'))
    stat('big5->gbk.plain_big5_without_gbk_equivalent', ' '.join(
        '%s:%s' % (r[0].hex().upper(), uhex(r[1])) for r in rows if r[4] == 'none' and setof[r[0]] == 'big5'))
    stat('big5->gbk.hkscs_hanzi_without_gbk_equivalent', sum(
        1 for r in rows if r[4] == 'none' and setof[r[0]] == 'hkscs' and 'CJK' in unicodedata.name(r[1], '')))
    stat('big5->gbk.simplified_differs', sum(1 for r in rows if r[2] and r[3] != r[2]))
    with open(os.path.join(out, 'enc_big5_gbk.tsv'), 'w', encoding='utf-8') as f:
        f.write('#big5\tunicode\tchar\tgbk_same_char\tgbk_simplified\tvia\tset\n')
        for b, ch, tgt, simp, via in rows:
            f.write('%s\t%s\t%s\t%s\t%s\t%s\t%s\n' % (b.hex().upper(), uhex(ch), ch, gbk_of[tgt] if tgt else '-',
                                                      gbk_of[simp] if simp else '-', via, setof[b]))
    # GBK -> BIG5
    big5_of = {}
    for b in sorted(m):
        if setof[b] == 'big5':
            big5_of.setdefault(m[b], b)
    cnt = collections.Counter()
    with open(os.path.join(out, 'enc_gbk_big5.tsv'), 'w', encoding='utf-8') as f:
        f.write('#gbk\tchar\tbig5\tbig5_char\tvia\n')
        for ch, code in sorted(gbk_of.items(), key=lambda kv: kv[1]):
            if len(code) < 4:
                continue
            tgt, via = None, 'none'
            if ch in big5_of:
                tgt, via = ch, 'same'
            else:
                for t in s2t.get(ch, []):
                    if t in big5_of:
                        tgt, via = t, 's2t'
                        break
                if tgt is None:
                    n = unicodedata.normalize('NFKC', ch)
                    if n in big5_of:
                        tgt, via = n, 'nfkc'
                if tgt is None:
                    for field in ('kTraditionalVariant', 'kZVariant', 'kSemanticVariant'):
                        if ch in V[field]:
                            c = [t for t in unihan_targets(V[field][ch]) if t in big5_of]
                            if c:
                                tgt, via = c[0], field
                                break
            cnt[via] += 1
            f.write('%s\t%s\t%s\t%s\t%s\n' % (code, ch, big5_of[tgt].hex().upper() if tgt else '-', tgt or '', via))
    stat('gbk->big5.by_route', dict(cnt))
    return m


# ----------------------------------------------------------------------------------------------
INIT = re.compile(r'^(zh|ch|sh|[bpmfdtnlgkhjqxrzcsyw])')
LEFT_FORMS = set('亻氵扌忄犭礻衤纟钅饣讠牜')
BOTTOM_FORMS = set('灬')
FULL_FORM = {'亻': '人', '氵': '水', '扌': '手', '忄': '心', '犭': '犬', '礻': '示', '衤': '衣', '纟': '糸', '钅': '金',
             '饣': '食', '讠': '言', '牜': '牛', '刂': '刀', '阝': '耳'}
COMPONENT_FORMS = set('亻氵扌忄犭礻衤纟钅饣讠辶廴艹宀冖灬刂阝卩疒彳丬爿攵罒覀冫丷亠廾夂勹匚冂凵厶彡彐尢尸巛'
                      '匸龵龸耂癶糹訁釒飠')
STRUCT_BY_FORM = dict([(c, '⿰') for c in '亻氵扌忄犭礻衤纟钅饣讠牜'] + [(c, '⿺') for c in '辶廴'] +
                      [(c, '⿸') for c in '广厂疒尸户'] + [(c, '⿴') for c in '囗'] + [(c, '⿵') for c in '门'] +
                      [(c, '⿱') for c in '艹宀'] + [(c, '⿱') for c in '灬'])


def build_decomp(out, gbk_of, hanset, gb2312, irg, dl, reads, charfreq, t2s, jieba_words):
    """Two-part spellings of GBK hanzi (弓长 for 张) from Unihan radical, stroke and Cangjie data."""
    strokes = {c: int(v.split()[0]) for c, v in irg['kTotalStrokes'].items()}

    def cj(c):
        k = dl['kCangjie'].get(c)
        if not k:
            return None
        return k[1:] if k.startswith('X') and len(k) > 1 else k
    kx = {}
    with open(UNI + 'CJKRadicals.txt', encoding='utf-8') as fh:
        for line in fh:
            if line.startswith('#') or not line.strip():
                continue
            n, rad, uni = [x.strip() for x in line.split(';')]
            kx[n] = chr(int(uni, 16))
    kname = {unicodedata.name(chr(0x2F00 + int(n) - 1)).replace('KANGXI RADICAL ', ''): n
             for n in kx if "'" not in n}
    forms = collections.defaultdict(set)
    for n, uni in kx.items():
        forms[n].add(uni)
    with open(UNI + 'EquivalentUnifiedIdeograph.txt', encoding='utf-8') as fh:
        for line in fh:
            line = line.split('#')[0].strip()
            if not line:
                continue
            a, b = [x.strip() for x in line.split(';')]
            for cp in range(int(a.split('..')[0], 16), int(a.split('..')[-1], 16) + 1):
                nm = unicodedata.name(chr(cp), '')
                if nm.startswith('CJK RADICAL '):
                    stem = re.sub(r'^(SIMPLIFIED |C-SIMPLIFIED |J-SIMPLIFIED )', '', nm[12:])
                    stem = re.sub(r' (ONE|TWO|THREE|FOUR)$', '', stem)
                    if stem in kname:
                        forms[kname[stem]].add(chr(int(b, 16)))
    # component shapes that the Unicode radical files do not tie to their radical number
    for n, s in {'130': '月', '9': '亻', '85': '氵', '64': '扌', '61': '忄', '94': '犭', '113': '礻',
                 '145': '衤', '140': '艹', '162': '辶', '163': '阝', '170': '阝', '18': '刂', '86': '灬',
                 '96': '王', '122': '罒', '66': '攵', '87': '爫', '93': '牜', '54': '廴'}.items():
        forms[n] |= set(s)
    for n in list(kx):
        if n.endswith("'"):
            forms[n] |= forms[n[:-1]]
    index = collections.defaultdict(list)  # (strokes, first cangjie letter) -> chars
    for c in sorted(hanset):
        if c in strokes and cj(c):
            index[(strokes[c], cj(c)[0])].append(c)

    def final(p):
        return INIT.sub('', p)

    def strict(K, a, b):
        return K == (a if len(a) <= 2 else a[0] + a[-1]) + (b if len(b) <= 3 else b[0] + b[1] + b[-1])

    def lenient(K, a, b):
        hs = {a, a[0] + a[-1], a[0]}
        bs = {b, b[0] + b[1] + b[-1] if len(b) > 3 else b, b[0] + b[-1], b[0]}
        return any(K == h + x for h in hs for x in bs)

    gen, stats = {}, collections.Counter()
    for C in sorted(hanset):
        if not (0x4E00 <= ord(C) <= 0x9FFF):
            continue
        rs, K = irg['kRSUnicode'].get(C), cj(C)
        if not rs or not K or C not in strokes:
            stats['no_unihan_data'] += 1
            continue
        r, n = rs.split()[0].split('.')
        n = int(n)
        if n <= 0:
            stats['radical_itself'] += 1
            continue
        best = {}
        for f in sorted(forms.get(r, ())):
            fa = cj(f)
            if f not in hanset or f == C or not fa:
                continue
            for order in ('RF', 'RL'):
                if order == 'RF':
                    firsts = {K[len(h)] for h in {fa, fa[0] + fa[-1], fa[0]} if len(h) < len(K) and K.startswith(h)}
                else:
                    firsts = {K[0]}
                for fl in sorted(firsts):
                    for B in index.get((n, fl), ()):
                        if B == C:
                            continue
                        b = cj(B)
                        x, y = (fa, b) if order == 'RF' else (b, fa)
                        s = 3 if strict(K, x, y) else (1.5 if lenient(K, x, y) else 0)
                        if not s:
                            continue
                        rb, rc = reads.get(B, set()), reads.get(C, set())
                        if rb & rc:
                            s += 2
                        elif any(final(p) == final(q) for p in rb for q in rc):
                            s += 0.5
                        if B in gb2312:
                            s += 0.25
                        pref = (f in LEFT_FORMS) if order == 'RF' else (f not in LEFT_FORMS)
                        if f in BOTTOM_FORMS:
                            pref = order == 'RL'
                        key = (B, order)
                        cand = (s, B in gb2312, charfreq.get(B, 0), pref)
                        old = best.get(key)
                        if old is None or cand > old[0]:
                            best[key] = (cand, f, ([f] + old[2]) if old else [f])
                        else:
                            old[2].append(f)
        if not best:
            stats['no_candidate'] += 1
            continue
        ranked = sorted(best.items(), key=lambda kv: kv[1][0][:3], reverse=True)
        (B, order), (cand, f, fl) = ranked[0]
        if cand[0] < 3:
            stats['score_below_threshold'] += 1
            continue
        if len(ranked) > 1 and ranked[1][0][0] != B and ranked[1][1][0][:3] == cand[:3]:
            stats['tie'] += 1
            continue
        alts = [f] + sorted(set(fl) - {f}, key=lambda x: (x in gb2312, charfreq.get(x, 0), -ord(x)), reverse=True)
        gen[C] = (order, B, alts, cand[0])
        stats['decomposed'] += 1
    stat('decomp.unihan_cangjie_heuristic', dict(stats))
    # transfer traditional decompositions to their simplified forms (张 <- 張 = 弓 + 長)
    transfer = 0
    for T, (order, B, alts, sc) in list(gen.items()):
        S = t2s.get(T)
        if not S:
            continue
        Bs = t2s.get(B, B)
        rs = irg['kRSUnicode'].get(S)
        if not rs or Bs not in hanset:
            continue
        n = int(rs.split()[0].split('.')[1])
        if strokes.get(Bs) != n:
            continue
        fs = [t2s.get(a, a) for a in alts]
        cur = gen.get(S)
        if cur is None or (cur[1] != Bs and not isinstance(cur[3], str) and cur[3] < 5):
            gen[S] = (order, Bs, fs, 'T:' + T)
            transfer += 1
    stat('decomp.transferred_from_traditional', transfer)
    # merge the heuristic's pairs with the full-form spelling of a component radical
    # (人尔 for 你, 言午 for 许, 金艮 for 银, 耳东 for 陈), as people type them
    rows = []
    for c, (order, B, alts, sc) in gen.items():
        f = alts[0]
        pair = f + B if order == 'RF' else B + f
        rows.append((pair, c, STRUCT_BY_FORM.get(f, '?'), 'unihan-cangjie', str(sc)))
    for pair, c, st, src, sc in list(rows):
        for i, comp in enumerate(pair):
            if comp in FULL_FORM:
                alt = pair[:i] + FULL_FORM[comp] + pair[i + 1:]
                rows.append((alt, c, st, src + '(full-form radical)', sc))
    # one target per pair: keep the first (direct before full-form, then the more frequent target)
    rows.sort(key=lambda r: ('(' in r[3], -charfreq.get(r[1], 0), r[1]))
    seen, final_rows = set(), []
    for r in rows:
        if r[0] in seen or r[0][0] == r[1] or r[0][1] == r[1]:
            continue
        seen.add(r[0])
        final_rows.append(r)
    # substring frequency of each pair inside jieba words: a pair that occurs inside ordinary words
    # would be rewritten in ordinary text
    pairset = {r[0] for r in final_rows}
    inside = collections.Counter()
    for w, fq in jieba_words.items():
        for i in range(len(w) - 1):
            if w[i:i + 2] in pairset:
                inside[w[i:i + 2]] += fq

    # character unigram probabilities from the jieba dictionary (occurrences weighted by word frequency)
    occ = collections.Counter()
    for w, fq in jieba_words.items():
        for ch in w:
            occ[ch] += fq
    total = sum(occ.values())

    def chance_per_million(pair):
        return 1e6 * occ[pair[0]] / total * occ[pair[1]] / total

    def tier(r):
        a, b = r[0]
        if jieba_words.get(r[0], 0) >= 50:
            return 'C:word'
        if strokes.get(r[1], 0) < 5 or min(strokes.get(a, 0), strokes.get(b, 0)) < 2:
            return 'C:simple'
        if a in COMPONENT_FORMS or b in COMPONENT_FORMS:
            return 'A'  # a component shape that ordinary text does not use as a character
        if t2s.get(r[1], r[1]) not in gb2312:
            return 'C:rare-target'
        if inside[r[0]] >= 50:
            return 'C:inside-words'
        if chance_per_million(r[0]) >= 1.0:
            return 'C:common-bigram-by-chance'
        return 'B'
    final_rows = [r + (tier(r),) for r in final_rows]
    stat('decomp.pairs_by_tier', dict(collections.Counter(r[5].split(':')[0] for r in final_rows)))
    stat('decomp.tier_C_reasons', dict(collections.Counter(r[5] for r in final_rows if r[5].startswith('C'))))
    structs = collections.Counter(r[2] for r in final_rows)
    stat('decomp.pairs_total', len(final_rows))
    stat('decomp.target_chars', len(set(r[1] for r in final_rows)))
    stat('decomp.target_chars_in_GB2312', len(set(r[1] for r in final_rows if r[1] in gb2312)))
    stat('decomp.pairs_by_structure', dict(structs))
    stat('decomp.pairs_that_are_jieba_words', sum(1 for r in final_rows if r[0] in jieba_words))
    stat('decomp.tier_A_B_pairs_target_in_GB2312', sum(1 for r in final_rows if r[5] in 'AB' and r[1] in gb2312))
    with open(os.path.join(out, 'decomp_pairs.tsv'), 'w', encoding='utf-8') as f:
        f.write('#pair\tchar\tstructure\tsource\tscore_or_origin\ttier(A,B used in xing2zi)\tjieba_word_freq\t'
                'freq_inside_jieba_words\n')
        for r in final_rows:
            f.write('%s\t%s\t%s\t%s\t%s\t%s\t%d\t%d\n' % (r + (jieba_words.get(r[0], 0), inside[r[0]])))
    return final_rows


# ----------------------------------------------------------------------------------------------
def build_xing2zi(out, gbk_of, gb2312, hanset, V, t2s, oc, charfreq, decomp_rows, jieba_words):
    """Look-alike table: source string -> standard string, both GBK."""
    pairs = collections.OrderedDict()  # src -> (dst, class)
    cnt = collections.Counter()

    def rank(c):  # more standard = higher
        return (all(x.isascii() for x in c), all(x in gb2312 for x in c), charfreq.get(c, 0))

    def add(src, dst, cls):
        if src == dst or not src or not dst or src in pairs:
            return
        if not all(c in gbk_of for c in src + dst) or any(c.isspace() for c in src + dst):
            return
        pairs[src] = (dst, cls)
        cnt[cls] += 1
    gbk_chars = [c for c, code in gbk_of.items() if len(code) == 4]
    for c in gbk_chars:  # 1. full-width ASCII
        if 0xFF01 <= ord(c) <= 0xFF5E:
            add(c, chr(ord(c) - 0xFEE0), 'fullwidth')
    for c in gbk_chars:  # 2. other compatibility forms (NFKC)
        n = unicodedata.normalize('NFKC', c)
        if n != c and len(n) <= 4:
            add(c, n, 'nfkc')
    for c, s in t2s.items():  # 3. traditional -> simplified (only chars not used in simplified text)
        if c not in gb2312:
            add(c, s, 't2s')
    def variant_pairs(field, need_gb2312):
        cands = collections.defaultdict(set)
        for c, v in V[field].items():
            for t in unihan_targets(v):
                if c in gbk_of and t in gbk_of and c != t:
                    cands[c].add(t)
                    cands[t].add(c)
        for a in sorted(cands, key=lambda x: gbk_of[x]):
            if a in gb2312 or a not in hanset:
                continue
            best = max(sorted(cands[a]), key=rank)
            if rank(best) <= rank(a) or (need_gb2312 and best not in gb2312):
                continue
            add(a, t2s.get(best, best), field)
    variant_pairs('kZVariant', False)
    variant_pairs('kSpoofingVariant', False)
    for k, vl in oc['JPVariants'].items():  # Japanese shinjitai -> traditional -> simplified
        for j in vl:
            if len(j) == 1 and j != k and j not in gb2312 and j in gbk_of:
                add(j, t2s.get(k, k), 'jp-shinjitai')
    variant_pairs('kSemanticVariant', True)
    for k in sorted(CF):
        if len(k) != 1 or k not in gbk_of or k in gb2312 or k.isascii() or k == '〇':
            continue
        if not unicodedata.category(k).startswith(('L', 'N')):
            continue
        group = [x['c'] for x in CF[k] if len(x['c']) == 1 and x['c'] in gbk_of]
        cjk_like = any(w in unicodedata.name(k, '') for w in ('KATAKANA', 'HIRAGANA', 'CJK', 'BOPOMOFO'))
        if cjk_like:
            group = [t for t in group if t in gb2312]
        else:
            group = [t for t in group if t.isascii() and t.isalnum()]
            if k.isupper():
                group = ['I' if t == 'l' else t for t in group if not t.islower() or t == 'l']
            elif k.islower():
                group = [t for t in group if not t.isupper()]
        if group:
            add(k, max(group, key=rank), 'confusable')
    for pair, ch, st, src, sc, tier in decomp_rows:
        if tier in ('A', 'B'):
            add(pair, ch, 'decomp-%s-%s' % (src.split('(')[0], tier))
    # resolve chains (a->b, b->c gives a->c); drop cycles
    for s in list(pairs):
        d, cls = pairs[s]
        seen = {s}
        while d in pairs and d not in seen:
            seen.add(d)
            d = pairs[d][0]
        if d in seen:
            del pairs[s]
            cnt[cls] -= 1
        else:
            pairs[s] = (d, cls)
    stat('xing2zi.rows', len(pairs))
    stat('xing2zi.by_class', dict(cnt))
    with open(os.path.join(out, 'xing2zi.tsv'), 'w', encoding='utf-8') as f:
        f.write('#source\tstandard\tclass\n')
        for s, (d, cls) in pairs.items():
            f.write('%s\t%s\t%s\n' % (s, d, cls))
    with GbkWriter(os.path.join(out, 'Xing2Zi.gbk.txt')) as f:
        for s, (d, cls) in pairs.items():
            f.write('%s %s\n' % (s, d))
    return pairs


# ----------------------------------------------------------------------------------------------
def build_pinyin(out, gbk_of, hanset, rd, gb2312, charfreq):
    def toks(field, c):
        v = rd[field].get(c)
        if not v:
            return []
        res = []
        if field == 'kHanyuPinlu':
            items = []
            for t in v.split():
                m = re.match(r'(.+)\((\d+)\)', t)
                items.append((int(m.group(2)), strip_tone(m.group(1))))
            return [p for _, p in sorted(items, key=lambda x: -x[0])]
        for t in v.split():
            t = t.split(':')[-1]
            res += [strip_tone(p) for p in t.split(',')]
        return res
    go = {}
    with open(GO_PINYIN, encoding='utf-8') as fh:
        for line in fh:
            m = re.match(r'\s*0x([0-9A-F]+): "([^"]+)"', line)
            if m:
                go[chr(int(m.group(1), 16))] = [strip_tone(p) for p in m.group(2).split(',')]
    chars = sorted([c for c in gbk_of if c in hanset] + ['〇'], key=lambda c: gbk_of[c])
    rows = []
    cover = collections.Counter()
    first_src = collections.Counter()
    agree_go = both = 0
    go_dis = []
    for c in chars:
        order, srcs = [], []
        u = unicodedata.normalize('NFC', c)  # CJK compatibility ideographs -> unified character
        # go-pinyin (mozillazg/pinyin-data, curated) first, then Unihan fields in order of reliability
        if c in go or u in go:
            cover['go-pinyin'] += 1
            for p in go.get(c) or go[u]:
                if p not in order:
                    order.append(p)
                    srcs.append('go')
        um = toks('kMandarin', c) or toks('kMandarin', u)
        if um and c in go:
            both += 1
            agree_go += go[c][0] == um[0]
            if go[c][0] != um[0]:
                go_dis.append('%s:%s/%s' % (c, um[0], go[c][0]))
        for field in ('kMandarin', 'kHanyuPinlu', 'kTGHZ2013', 'kXHC1983', 'kHanyuPinyin'):
            for p in toks(field, c) or toks(field, u):
                if p and p not in order:
                    order.append(p)
                    srcs.append(field)
        if rd['kMandarin'].get(c) or rd['kHanyuPinyin'].get(c) or rd['kXHC1983'].get(c):
            cover['unihan'] += 1
        if not order:
            continue
        cover['union'] += 1
        first_src[srcs[0]] += 1
        rows.append((c, order, srcs))
    nh = len(chars)
    stat('pinyin.gbk_hanzi', nh)
    stat('pinyin.coverage', {k: '%d (%.2f%%)' % (v, 100.0 * v / nh) for k, v in cover.items()})
    stat('pinyin.first_reading_source', dict(first_src))
    stat('pinyin.kMandarin_first_agrees_go_pinyin_first', '%d/%d' % (agree_go, both))
    stat('pinyin.kMandarin_vs_go_first_differs(kMandarin/go)', ' '.join(go_dis))
    stat('pinyin.rows (char,reading)', sum(len(o) for _, o, _ in rows))
    stat('pinyin.polyphonic_chars', sum(1 for _, o, _ in rows if len(o) > 1))
    stat('pinyin.distinct_syllables', len(set(p for _, o, _ in rows for p in o)))
    missing = [c for c in chars if c not in {r[0] for r in rows}]
    stat('pinyin.missing_examples', ''.join(missing[:60]))
    with open(os.path.join(out, 'pinyin.tsv'), 'w', encoding='utf-8') as f:
        f.write('#char\tgbk\treadings(most common first)\tsource_of_each\n')
        for c, o, s in rows:
            f.write('%s\t%s\t%s\t%s\n' % (c, gbk_of[c], ' '.join(o), ' '.join(s)))
    lines, dropped = pinyin_import_lines(rows, charfreq)
    stat('pinyin.import_lines', len(lines))
    stat('pinyin.import_dropped_readings', dropped)
    with GbkWriter(os.path.join(out, 'pinyin.gbk.txt')) as f:
        for c, p in lines:
            f.write('%s %s\n' % (c, p))
    return rows


def syllable_order(rows, charfreq):
    """A global order of the syllables that puts each character's first reading before its others
    wherever it can, favouring frequent characters (greedy feedback-arc-set ordering: repeatedly take
    the syllable whose outgoing preference weight most exceeds its incoming one; ties by first use)."""
    first_use = {}
    for _, o, _ in rows:
        for p in o:
            first_use.setdefault(p, len(first_use))
    pref = collections.defaultdict(float)  # (a, b): weight of characters that want a before b
    for c, o, _ in rows:
        w = math.log(2 + charfreq.get(c, 0))
        for p in o[1:]:
            pref[(o[0], p)] += w
    score = collections.defaultdict(float)
    nbrs = collections.defaultdict(list)
    for (a, b), w in pref.items():
        score[a] += w
        score[b] -= w
        nbrs[a].append((b, w))
        nbrs[b].append((a, -w))
    remaining, order = set(first_use), []
    while remaining:
        best = max(remaining, key=lambda s: (round(score[s], 9), -first_use[s]))
        remaining.remove(best)
        order.append(best)
        for t, w in nbrs[best]:  # best leaves: drop its preferences from its neighbours' balance
            score[t] += w
    return {p: i for i, p in enumerate(order)}


def pinyin_import_lines(rows, charfreq):
    """The lines of the pinyin import file. The import numbers syllables in the order they first
    appear in the file and a character's first reading is its syllable with the lowest number, so the
    lines go in syllable order, and a character keeps only the readings that come after its first one
    in that order (the others would displace it). Returns the (char, syllable) lines and the number
    of readings left out."""
    rank = syllable_order(rows, charfreq)
    lines, dropped = [], 0
    for c, o, _ in rows:
        for p in o:
            if p == o[0] or rank[p] > rank[o[0]]:
                lines.append((rank[p], c, p))
            else:
                dropped += 1
    lines.sort(key=lambda x: (x[0], GBK_OF.get(x[1], '')))
    return [(c, p) for _, c, p in lines], dropped


# ----------------------------------------------------------------------------------------------
def literal(path):
    with open(path, encoding='utf-8') as fh:
        src = fh.read()
    return ast.literal_eval(src[src.index('P=') + 2:])


def build_jieba(out):
    words, tags, tagfreq, total, nongbk = {}, collections.Counter(), collections.Counter(), 0, 0
    lines = 0
    with open(JIEBA + 'dict.txt', encoding='utf-8') as fh, \
            open(os.path.join(out, 'jieba_dict.gbk.txt'), 'w', encoding='gbk') as g:
        for line in fh:
            w, fq, tag = line.rstrip('\n').split(' ')
            lines += 1
            try:
                g.write(line)
            except UnicodeEncodeError:
                nongbk += 1
            words[w] = words.get(w, 0) + int(fq)
            tags[tag] += 1
            tagfreq[tag] += int(fq)
            total += int(fq)
    stat('jieba.lines', lines)
    stat('jieba.distinct_words', len(words))
    stat('jieba.not_gbk_encodable', nongbk)
    stat('jieba.total_frequency', total)
    stat('jieba.tags', len(tags))
    STATS['jieba.tag_counts'] = {t: [c, tagfreq[t]] for t, c in tags.most_common()}
    # HMM models: Python literals, read with ast.literal_eval (no pickle, no code execution)
    with open(os.path.join(out, 'hmm_finalseg.tsv'), 'w', encoding='utf-8') as f:
        f.write('#table\tfrom\tto_or_char\tlogprob\n')
        for k, v in literal(JIEBA + 'finalseg/prob_start.py').items():
            f.write('start\t%s\t\t%r\n' % (k, v))
        for a, d in literal(JIEBA + 'finalseg/prob_trans.py').items():
            for b, v in d.items():
                f.write('trans\t%s\t%s\t%r\n' % (a, b, v))
        n = 0
        for s, d in literal(JIEBA + 'finalseg/prob_emit.py').items():
            for ch, v in d.items():
                f.write('emit\t%s\t%s\t%r\n' % (s, ch, v))
                n += 1
    stat('jieba.finalseg_emit_entries', n)
    cst = literal(JIEBA + 'posseg/char_state_tab.py')
    with open(os.path.join(out, 'hmm_posseg.tsv'), 'w', encoding='utf-8') as f:
        f.write('#table\tstate(BMES,tag)\tto_or_char\tlogprob\n')
        for k, v in literal(JIEBA + 'posseg/prob_start.py').items():
            f.write('start\t%s,%s\t\t%r\n' % (k[0], k[1], v))
        for a, d in literal(JIEBA + 'posseg/prob_trans.py').items():
            for b, v in d.items():
                f.write('trans\t%s,%s\t%s,%s\t%r\n' % (a + b + (v,)))
        for s, d in literal(JIEBA + 'posseg/prob_emit.py').items():
            for ch, v in d.items():
                f.write('emit\t%s,%s\t%s\t%r\n' % (s[0], s[1], ch, v))
        for ch, states in cst.items():
            f.write('charstate\t%s\t%s\t\n' % (ch, ' '.join('%s,%s' % s for s in states)))
    stat('jieba.posseg_char_state_chars', len(cst))
    charfreq = collections.Counter()
    for w, fq in words.items():
        for ch in set(w):
            charfreq[ch] += fq
    return words, charfreq


# ----------------------------------------------------------------------------------------------
SOURCES = [UNI + f for f in ('Unihan_Variants.txt.bz2', 'Unihan_IRGSources.txt.bz2', 'Unihan_Readings.txt.bz2',
                               'Unihan_DictionaryLikeData.txt.bz2', 'CJKRadicals.txt',
                               'EquivalentUnifiedIdeograph.txt')] + \
          [OPENCC_DIR + n + '.ocd2' for n in ('TSCharacters', 'TSPhrases', 'STCharacters', 'STPhrases', 'JPVariants')] + \
          [CONFUSABLES, GO_PINYIN] + \
          [JIEBA + f for f in ('dict.txt', 'finalseg/prob_start.py', 'finalseg/prob_trans.py', 'finalseg/prob_emit.py',
                               'posseg/prob_start.py', 'posseg/prob_trans.py', 'posseg/prob_emit.py',
                               'posseg/char_state_tab.py')]


def main():
    args = sys.argv[1:]
    stats_file = None
    if len(args) >= 2 and args[0] == '--stats':
        stats_file = args[1]
        args = args[2:]
    if len(args) > 1 or (args and args[0].startswith('-')):
        sys.exit('usage: gen_sources.py [--stats FILE] [OUTDIR]')
    out = args[0] if args else os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    missing = [f for f in SOURCES if not os.path.exists(f)]
    if missing:
        sys.exit('missing sources (see data/scripts/README.md for the packages):\n  ' + '\n  '.join(missing))
    dirs = {}
    for sub in ('encoding', 'xingzi', 'pinyin', 'segmenter'):
        dirs[sub] = os.path.join(out, sub)
        os.makedirs(dirs[sub], exist_ok=True)
    enc = dirs['encoding']
    tmp = tempfile.mkdtemp(prefix='vt_gen_')
    try:
        print('== 1. encodings')
        rows = build_gbk(enc)
        gbk_of = {ch: b.hex().upper() for b, ch, src in rows}
        for i in range(0x80):
            gbk_of.setdefault(chr(i), '%02X' % i)
        GBK_OF.update(gbk_of)
        with open(CONFUSABLES, encoding='utf-8') as fh:
            CF.update(json.load(fh))
        hanset = {c for c in gbk_of if unicodedata.name(c, '').startswith(('CJK UNIFIED', 'CJK COMPATIBILITY IDEO'))}
        gb2312 = set()
        for b in two_byte_codes(range(0xA1, 0xFF)):
            try:
                gb2312.add(b.decode('gb2312'))
            except UnicodeDecodeError:
                pass
        gb2312 &= hanset
        V = read_unihan('Unihan_Variants.txt.bz2', ['kSimplifiedVariant', 'kTraditionalVariant', 'kZVariant',
                                                    'kSemanticVariant', 'kSpecializedSemanticVariant',
                                                    'kSpoofingVariant'])
        stat('unihan.variant_field_counts', {k: len(v) for k, v in V.items()})
        irg = read_unihan('Unihan_IRGSources.txt.bz2', ['kRSUnicode', 'kTotalStrokes', 'kCompatibilityVariant'])
        dl = read_unihan('Unihan_DictionaryLikeData.txt.bz2', ['kCangjie'])
        rd = read_unihan('Unihan_Readings.txt.bz2', ['kMandarin', 'kHanyuPinlu', 'kXHC1983', 'kHanyuPinyin',
                                                     'kTGHZ2013'])
        build_utf8_extras(enc, gbk_of, V, irg)
        print('== 2. traditional <-> simplified')
        oc = dump_opencc(tmp)
        t2s, s2t = build_t2s(enc, gbk_of, gb2312, V, oc)
        print('== 1b. BIG5')
        build_big5(enc, gbk_of, t2s, s2t, V)
        print('== 5. jieba')
        jieba_words, charfreq = build_jieba(dirs['segmenter'])
        print('== 4. pinyin')
        build_pinyin(dirs['pinyin'], gbk_of, hanset, rd, gb2312, charfreq)
        print('== 3. decomposition + look-alikes')
        reads = collections.defaultdict(set)
        for f in ('kMandarin', 'kHanyuPinlu', 'kXHC1983'):
            for c, v in rd[f].items():
                for tok in v.split():
                    for p in tok.split(':')[-1].split('(')[0].split(','):
                        reads[c].add(strip_tone(p))
        drows = build_decomp(dirs['xingzi'], gbk_of, hanset, gb2312, irg, dl, reads, charfreq, t2s, jieba_words)
        build_xing2zi(dirs['xingzi'], gbk_of, gb2312, hanset, V, t2s, oc, charfreq, drows, jieba_words)
        sizes = collections.OrderedDict()
        for sub in sorted(dirs):
            for fn in sorted(os.listdir(dirs[sub])):
                sizes[sub + '/' + fn] = os.path.getsize(os.path.join(dirs[sub], fn))
        STATS['file_sizes'] = sizes
        if stats_file:
            with open(stats_file, 'w', encoding='utf-8') as f:
                json.dump(STATS, f, ensure_ascii=False, indent=1)
        for fn, sz in sizes.items():
            print('%10d  %s' % (sz, fn))
    finally:
        shutil.rmtree(tmp, ignore_errors=True)


if __name__ == '__main__':
    main()
