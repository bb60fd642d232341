#!/usr/bin/env python3
"""Word-segmentation quality of vintrel-segment on the SIGHAN 2005 PKU test set.

Usage: segment_quality.py [BUILD_DIR] [SHARED_DIR]   (defaults: build, ../shared)

Runs BUILD_DIR/vintrel-segment over pku_test.utf8 and scores the output against pku_test_gold.utf8
as the bakeoff does: a word is correct when its start and end offsets in the line equal those of a
gold word. Prints precision, recall, F1 and the recall of gold words absent from the training word
list (OOV recall). Exits 1 when the inputs are missing or the tool fails.
"""
import os
import subprocess
import sys
import tempfile


def spans(words):
    out, pos = [], 0
    for w in words:
        out.append((pos, pos + len(w), w))
        pos += len(w)
    return out


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build"
    shared = sys.argv[2] if len(sys.argv) > 2 else os.path.join("..", "shared")
    bench = os.path.join(shared, "benchmarks", "sighan2005")
    text = os.path.join(bench, "pku_test.utf8")
    gold_file = os.path.join(bench, "pku_test_gold.utf8")
    train_file = os.path.join(bench, "pku_training_words.utf8")
    tool = os.path.join(build, "vintrel-segment")
    for path in (text, gold_file, train_file, tool):
        if not os.path.exists(path):
            print("missing: " + path, file=sys.stderr)
            return 1
    with tempfile.TemporaryDirectory() as tmp:
        out_file = os.path.join(tmp, "pku_out.utf8")
        subprocess.run([tool, "--encoding", "utf8", text, out_file], check=True)
        with open(out_file, encoding="utf-8") as f:
            out = f.read().splitlines()
    with open(gold_file, encoding="utf-8") as f:
        gold = f.read().splitlines()
    with open(train_file, encoding="utf-8") as f:
        train = set(f.read().split())
    if len(out) != len(gold):
        print("line counts differ: %d output, %d gold" % (len(out), len(gold)), file=sys.stderr)
        return 1
    correct = produced = expected = oov = oov_correct = 0
    for o, g in zip(out, gold):
        got = {(a, b) for a, b, _ in spans(o.split())}
        want = spans(g.split())
        produced += len(got)
        expected += len(want)
        for a, b, w in want:
            hit = (a, b) in got
            correct += hit
            if w not in train:
                oov += 1
                oov_correct += hit
    p = correct / produced if produced else 0.0
    r = correct / expected if expected else 0.0
    f = 2 * p * r / (p + r) if p + r else 0.0
    print("PKU: words %d gold %d correct %d" % (produced, expected, correct))
    print("precision %.4f  recall %.4f  F1 %.4f  OOV recall %.4f (%d OOV words)"
          % (p, r, f, oov_correct / oov if oov else 0.0, oov))
    return 0


if __name__ == "__main__":
    sys.exit(main())
