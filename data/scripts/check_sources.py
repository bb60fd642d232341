#!/usr/bin/python3
"""Check the generated text tables under data/ for coverage and for the decisions they must respect.

Usage:  /usr/bin/python3 data/scripts/check_sources.py [DATADIR]

DATADIR defaults to the data/ folder above this script.  Only the tables under DATADIR are read
(Python's own codecs and unicodedata serve as references).  Prints one line per check and exits
with status 1 when any check fails.
"""
import collections
import os
import re
import sys
import unicodedata

DATA = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FAILED = []


def check(name, ok, detail=''):
    print('%-4s %s%s' % ('ok' if ok else 'FAIL', name, (': ' + str(detail)) if detail != '' else ''))
    if not ok:
        FAILED.append(name)


def tsv(rel):
    with open(os.path.join(DATA, rel), encoding='utf-8') as fh:
        for line in fh:
            if not line.startswith('#'):
                yield line.rstrip('\n').split('\t')


def is_hanzi(c):
    return unicodedata.name(c, '').startswith(('CJK UNIFIED', 'CJK COMPATIBILITY IDEOGRAPH'))


def codec_cells(codec, trails):
    cells = {}
    for lead in range(0x81, 0xFF):
        for t in trails:
            b = bytes([lead, t])
            try:
                cells[b] = b.decode(codec)
            except UnicodeDecodeError:
                pass
    return cells


GBK_TRAILS = [t for t in range(0x40, 0xFF) if t != 0x7F]

# ---------------------------------------------------------------------------------------------
# GBK <-> Unicode
g2u, u2g, src_of = {}, {}, {}
one_way = collections.Counter()
dups = []
for code, uni, ch, src in tsv('encoding/enc_gbk_unicode.tsv'):
    c = chr(int(uni[2:], 16))
    if src.startswith(('pua-alias', 'cp936-single-byte')):
        one_way[src.split('(')[0]] += 1
        continue
    b = bytes.fromhex(code)
    if b in g2u or c in u2g:
        dups.append(code)
    g2u[b], u2g[c], src_of[b] = c, b, src
two = {b: c for b, c in g2u.items() if len(b) == 2}
check('GBK: the 128 ASCII rows map to themselves',
      all(g2u.get(bytes([i])) == chr(i) for i in range(128)) and len(g2u) - len(two) == 128)
check('GBK: no code and no character appears twice among the two-way rows', not dups, ' '.join(dups[:8]))
gbk_codec = codec_cells('gbk', GBK_TRAILS)
cp936 = {b: c for b, c in two.items() if src_of[b] == 'cp936'}
check('GBK: the cp936 rows are exactly the cells of the gbk codec', cp936 == gbk_codec,
      '%d rows, codec %d' % (len(cp936), len(gbk_codec)))
extra = {b: c for b, c in two.items() if src_of[b] == 'gb18030'}
check('GBK: 106 GB18030-2005 cells beyond CP936', len(extra) == 106, len(extra))
check('GBK: the GB18030 cells agree with the gb18030 codec outside its old PUA choices',
      all(b.decode('gb18030') == c for b, c in extra.items() if not 0xE000 <= ord(b.decode('gb18030')) <= 0xF8FF))
check('GBK: euro at A2E3, IDC at A98A, radical at FE50',
      two.get(b'\xa2\xe3') == '\u20ac' and two.get(b'\xa9\x8a') == '\u2ff0' and two.get(b'\xfe\x50') == '\u2e81')
check('GBK: one-way rows are the 0x80 euro and the 25 old PUA aliases',
      one_way == collections.Counter({'cp936-single-byte': 1, 'pua-alias': 25}), dict(one_way))
pua = [b.hex() for b, c in two.items() if 0xE000 <= ord(c) <= 0xF8FF or ord(c) >= 0xF0000]
check('GBK: no cell maps to a private-use character', not pua, ' '.join(pua[:8]))
user_area = [b.hex() for b in two if (0xAA <= b[0] <= 0xAF and b[1] >= 0xA1) or
             (0xF8 <= b[0] <= 0xFE and b[1] >= 0xA1) or (0xA1 <= b[0] <= 0xA7 and b[1] <= 0xA0)]
check('GBK: the user-defined areas stay unmapped', not user_area, ' '.join(user_area[:8]))
gbk_han = {c for c in two.values() if is_hanzi(c)} | {'\u3007'}
gb2312 = {c for c in codec_cells('gb2312', range(0xA1, 0xFF)).values() if is_hanzi(c)}
check('GBK: 6,763 GB2312 hanzi, all in the table', len(gb2312) == 6763 and gb2312 <= gbk_han, len(gb2312))


def gbk_decode(data):
    """GBK bytes of an import file -> text through the table; None on an unknown cell."""
    out, i = [], 0
    while i < len(data):
        if data[i] < 0x80:
            out.append(chr(data[i]))
            i += 1
            continue
        c = two.get(data[i:i + 2])
        if c is None:
            return None
        out.append(c)
        i += 2
    return ''.join(out)


def gbk_lines(rel):
    with open(os.path.join(DATA, rel), 'rb') as fh:
        data = fh.read()
    text = gbk_decode(data)
    check('%s: every byte pair is a GBK cell of the table' % rel, text is not None)
    return (text or '').split('\n')[:-1]


# UTF-8 one-way extras
extras = list(tsv('encoding/enc_utf8_extra.tsv'))
bad = [r[0] for r in extras if chr(int(r[0][2:], 16)) in u2g or
       [bytes.fromhex(x) for x in r[2].split()] != [u2g.get(c) for c in r[3]]]
check('UTF-8 extras: sources are outside GBK, targets are GBK text with their codes', not bad, ' '.join(bad[:8]))
ex = {chr(int(r[0][2:], 16)): r[3] for r in extras}
check('UTF-8 extras: Kangxi radical U+2F00 -> 一, halfwidth katakana U+FF71 -> ア',
      ex.get('\u2f00') == '一' and ex.get('\uff71') == 'ア')

# BIG5
big5 = list(tsv('encoding/enc_big5_gbk.tsv'))
plain = [r for r in big5 if r[6] == 'big5']
plain_han = [r for r in plain if is_hanzi(r[2])]
check('BIG5: 13,752 plain BIG5 cells (cp950 + big5)', len(plain) == 13752, len(plain))
check('BIG5: every plain BIG5 hanzi has a GBK character',
      len(plain_han) >= 13000 and all(r[3] != '-' and r[4] != '-' for r in plain_han), len(plain_han))
check('BIG5: at most 2 plain BIG5 cells without a GBK equivalent', sum(1 for r in plain if r[3] == '-') <= 2)
b5 = {r[0]: r for r in big5}
check('BIG5: A4A4 中 -> D6D0; B0EA 國 -> 國 as is, 国 B9FA simplified',
      b5.get('A4A4', [''] * 5)[3:5] == ['D6D0', 'D6D0'] and
      b5.get('B0EA', [''] * 5)[3:5] == [u2g['國'].hex().upper(), 'B9FA'])
gb_b5 = list(tsv('encoding/enc_gbk_big5.tsv'))
check('GBK->BIG5: one row per two-byte GBK cell', len(gb_b5) == len(two), len(gb_b5))

# GBKA: traditional <-> simplified
t2s = {r[0]: r[1] for r in tsv('encoding/gbka_t2s.tsv')}
check('GBKA T->S: 習 -> 习, 國 -> 国, 張 -> 张, 薴 -> 苎 (OpenCC chain 薴 -> 苧 -> 苎 followed)',
      t2s.get('習') == '习' and t2s.get('國') == '国' and t2s.get('張') == '张' and t2s.get('薴') == '苎')
check('GBKA T->S: both sides GBK, no identity rows, no chains',
      all(a in u2g and b in u2g and a != b and b not in t2s for a, b in t2s.items()), len(t2s))
check('GBKA T->S: more than 2,800 rows', len(t2s) > 2800, len(t2s))
t2s_imp = dict(ln.split(' ', 1) for ln in gbk_lines('encoding/gbka_t2s.gbk.txt'))
check('GBKA T->S: import file equals the tsv', t2s_imp == t2s)
s2t = {r[0]: r[1].split(' ') for r in tsv('encoding/gbka_s2t.tsv')}
check('GBKA S->T: 发 -> 發 first, 髮 also; 习 -> 習', s2t.get('发', [''])[0] == '發' and '髮' in s2t.get('发', []) and
      s2t.get('习') == ['習'])
s2t_imp = dict(ln.split(' ', 1) for ln in gbk_lines('encoding/gbka_s2t.gbk.txt'))
check('GBKA S->T: import file holds the first candidates', s2t_imp == {k: v[0] for k, v in s2t.items()})
tsp = dict(ln.split(' ', 1) for ln in gbk_lines('encoding/gbka_t2s_phrases.gbk.txt'))
ssp = dict(ln.split(' ', 1) for ln in gbk_lines('encoding/gbka_s2t_phrases.gbk.txt'))
check('GBKA phrases: 乾隆 stays 乾隆 (T->S), 头发 -> 頭髮 (S->T)', tsp.get('乾隆') == '乾隆' and ssp.get('头发') == '頭髮')
check('GBKA phrases: > 250 T->S and > 45,000 S->T units', len(tsp) > 250 and len(ssp) > 45000,
      '%d / %d' % (len(tsp), len(ssp)))

# ---------------------------------------------------------------------------------------------
# Look-alikes
xz = [(r[0], r[1], r[2]) for r in tsv('xingzi/xing2zi.tsv')]
xmap = {s: d for s, d, _ in xz}
check('Xing2Zi: one row per source', len(xmap) == len(xz))
imp = gbk_lines('xingzi/Xing2Zi.gbk.txt')
check('Xing2Zi: import file is "src dst" per row, same rows as the tsv',
      [tuple(ln.split(' ')) for ln in imp] == [(s, d) for s, d, _ in xz])
for s, d in (('弓长', '张'), ('辶斤', '近'), ('言午', '许'), ('讠午', '许'), ('Ａ', 'A'), ('А', 'A'), ('売', '卖')):
    check('Xing2Zi: %s -> %s' % (s, d), xmap.get(s) == d, xmap.get(s, 'missing'))
for s in ('木子', '口天', '人尔', '日月', '女子', '古月', '口口', '卜一'):  # ordinary text: tier C, kept out
    check('Xing2Zi: %s is not rewritten' % s, s not in xmap, xmap.get(s, ''))
check('Xing2Zi: 金艮 -> 银 (through 銀), 白勺 -> 的, 亻尔 -> 你',
      xmap.get('金艮') == '银' and xmap.get('白勺') == '的' and xmap.get('亻尔') == '你')
check('Xing2Zi: no GB2312 hanzi is rewritten', not [s for s in xmap if s in gb2312])
check('Xing2Zi: chains resolved (no target is a source)', not [d for d in xmap.values() if d in xmap])
check('Xing2Zi: no blanks in sources or targets', not [s for s, d in xmap.items() if re.search(r'\s', s + d)])
tiers = {r[0]: r[5] for r in tsv('xingzi/decomp_pairs.tsv')}
dec = [(s, c) for s, d, c in xz if c.startswith('decomp-')]
check('Xing2Zi: decomposition rows carry their tier, and only tiers A and B are used',
      all(c[-1] in 'AB' and tiers.get(s) == c[-1] for s, c in dec), len(dec))
tier_c = [p for p, t in tiers.items() if t.startswith('C') and p in xmap]
check('Xing2Zi: no tier C pair is shipped', not tier_c, ' '.join(tier_c[:8]))
check('Xing2Zi: more than 14,000 rows, more than 9,000 from decompositions',
      len(xz) > 14000 and len(dec) > 9000, '%d rows, %d decompositions' % (len(xz), len(dec)))

# ---------------------------------------------------------------------------------------------
# Pinyin
py = {r[0]: r[2].split(' ') for r in tsv('pinyin/pinyin.tsv')}
check('pinyin: readings are lower-case toneless syllables (v for ü)',
      all(re.fullmatch(r'[a-z]+', p) for v in py.values() for p in v))
check('pinyin: every GB2312 hanzi has a reading', gb2312 <= set(py), ''.join(sorted(gb2312 - set(py)))[:40])
cov = len(gbk_han & set(py)) / len(gbk_han)
check('pinyin: >= 99.8% of the GBK hanzi have a reading', cov >= 0.998,
      '%d of %d = %.2f%%' % (len(gbk_han & set(py)), len(gbk_han), 100 * cov))
for c, first, also in (('地', 'di', 'de'), ('谁', 'shui', 'shei'), ('拓', 'tuo', 'ta'), ('著', 'zhu', 'zhe'),
                       ('行', 'xing', 'hang'), ('了', 'le', 'liao'), ('中', 'zhong', None), ('绿', 'lv', 'lu'),
                       ('女', 'nv', None), ('略', 'lve', None)):
    v = py.get(c, [])
    check('pinyin: %s reads %s first%s' % (c, first, (', also ' + also) if also else ''),
          v[:1] == [first] and (also is None or also in v), ' '.join(v))
imp = gbk_lines('pinyin/pinyin.gbk.txt')
pairs = [tuple(ln.split(' ')) for ln in imp]
check('pinyin: import file is "char syllable", every line a reading of the tsv',
      all(len(pr) == 2 and pr[1] in py.get(pr[0], []) for pr in pairs), [pr for pr in pairs if len(pr) != 2][:3])
# The import numbers syllables by first appearance and a character reads as its lowest-numbered
# syllable: that must be the tsv's first reading, for every character.
first_seen, lowest = {}, {}
for c, p in pairs:
    first_seen.setdefault(p, len(first_seen))
for c, p in pairs:
    if c not in lowest or first_seen[p] < first_seen[lowest[c]]:
        lowest[c] = p
wrong = [c for c, v in py.items() if lowest.get(c) != v[0]]
check('pinyin: the import file gives every character its first reading first', not wrong, ''.join(wrong[:40]))
check('pinyin: the import file keeps >= 90% of the readings (the library reads only the first)',
      len(pairs) >= 0.90 * sum(len(v) for v in py.values()), len(pairs))

# ---------------------------------------------------------------------------------------------
# Segmenter
words, tags = collections.Counter(), set()
bad = []
with open(os.path.join(DATA, 'segmenter/jieba_dict.gbk.txt'), 'rb') as fh:
    lines = fh.read().decode('gbk').split('\n')
check('jieba: file ends with a line end', lines[-1] == '')
for ln in lines[:-1]:
    f = ln.split(' ')
    if len(f) != 3 or not f[1].isdigit() or not re.fullmatch(r'[a-z]+', f[2]):
        bad.append(ln)
        continue
    words[f[0]] += int(f[1])
    tags.add(f[2])
check('jieba: every line is "word freq tag"', not bad, ' | '.join(bad[:3]))
check('jieba: 349,046 lines, 55 tags, 了 the most frequent word',
      len(lines) - 1 == 349046 and len(tags) == 55 and words.most_common(1)[0][0] == '了',
      '%d lines, %d tags' % (len(lines) - 1, len(tags)))
hmm = collections.defaultdict(list)
for r in tsv('segmenter/hmm_finalseg.tsv'):
    hmm[r[0]].append(r)
check('HMM: four states B E M S in start, eight transitions',
      sorted(r[1] for r in hmm['start']) == ['B', 'E', 'M', 'S'] and len(hmm['trans']) == 8)
check('HMM: emissions are log-probabilities of single GBK characters',
      len(hmm['emit']) > 30000 and all(len(r[2]) == 1 and r[2] in u2g and float(r[3]) <= 0 for r in hmm['emit']),
      len(hmm['emit']))
pos = collections.Counter(r[0] for r in tsv('segmenter/hmm_posseg.tsv'))
check('HMM tagger: start, trans, emit and charstate tables present',
      all(pos[k] > 0 for k in ('start', 'trans', 'emit', 'charstate')), dict(pos))

print('%d checks failed' % len(FAILED) if FAILED else 'all checks passed')
sys.exit(1 if FAILED else 0)
