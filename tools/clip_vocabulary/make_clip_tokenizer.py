#!/usr/bin/env python3
"""Turns the published list of CLIP merges (plain text or gzip) into clip_tokenizer.json.

    make_clip_tokenizer.py MERGES OUTPUT

The list has a line of its version, then one merge a line, the strongest first. The vocabulary follows
from it: a token for each byte, one for each byte at the end of a word, one for each merge, and the two
marks of a text's start and end."""
import gzip
import json
import sys

VOCABULARY_SIZE = 49408
SPECIAL_TOKENS = ['<|startoftext|>', '<|endoftext|>']
END_OF_WORD = '</w>'


def byte_characters():
    """The printable bytes for themselves, then the others from U+0100 on, in the vocabulary's order."""
    printable = [*range(33, 127), *range(161, 173), *range(174, 256)]
    others = [byte for byte in range(256) if byte not in printable]
    return [chr(byte) for byte in printable] + [chr(256 + place) for place in range(len(others))]


def read_merges(path):
    with open(path, 'rb') as file:
        content = file.read()
    if content[:2] == b'\x1f\x8b':
        content = gzip.decompress(content)
    lines = content.decode('utf-8').split('\n')[1:]
    count = VOCABULARY_SIZE - 2 * 256 - len(SPECIAL_TOKENS)
    merges = lines[:count]
    if len(merges) < count or any(len(merge.split(' ')) != 2 for merge in merges):
        raise ValueError(f'{path} is no list of at least {count} merges')
    return merges


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    try:
        merges = read_merges(sys.argv[1])
    except (OSError, ValueError, EOFError) as error:
        sys.exit(f'make_clip_tokenizer: {error}')
    single = byte_characters()
    tokens = single + [character + END_OF_WORD for character in single]
    tokens += [merge.replace(' ', '') for merge in merges] + SPECIAL_TOKENS
    with open(sys.argv[2], 'w', encoding='utf-8') as file:
        json.dump({'encoder': {token: number for number, token in enumerate(tokens)}, 'merges': merges}, file,
                  ensure_ascii=False)


main()
