#!/usr/bin/env python3
"""The rules of the house that the compiler does not check. Prints each breach and fails on any."""
import re
import subprocess
import sys

FOREIGN_HEADERS = re.compile(
    r'#include <(vips/|jpeglib|turbojpeg|unicode/|curl/|openssl/|zlib|dlib/|tesseract/|leptonica/|'
    r'onnxruntime|simdjson|tiff|png|libheif|sys/|unistd|fcntl|dirent|dlfcn|spdlog/)')
CLOCKS = re.compile(r'\b(system_clock|steady_clock|high_resolution_clock)::now\b|\bstd::time\(|\bgettimeofday\b|'
                    r'\bclock_gettime\b|\blocaltime')
QT_HEADERS = re.compile(r'#include <Q[A-Z]')

# Rooms that may hold a foreign library behind their own front.
ALLOWED_FOREIGN = {
    'src/metadata/': re.compile(r'#include <simdjson'),
}


def breaches(path, text):
    if not path.startswith(('src/', 'apps/')):
        return
    adapter = path.startswith('src/platform_linux/')
    for number, line in enumerate(text.splitlines(), 1):
        if re.search(r'#include\s+"\.\./|#include\s+"[^"]*/\.\./', line):
            yield number, 'an include that climbs with ".."'
        if QT_HEADERS.search(line) and not path.startswith('apps/desktop/'):
            yield number, 'a Qt header outside the desktop'
        if FOREIGN_HEADERS.search(line) and not adapter:
            allowed = [rule for prefix, rule in ALLOWED_FOREIGN.items() if path.startswith(prefix)]
            if not any(rule.search(line) for rule in allowed):
                yield number, 'a platform library outside platform_linux'
        if CLOCKS.search(line) and not adapter:
            yield number, 'a system clock outside the adapters'


def main():
    files = subprocess.run(['git', 'ls-files', '*.h', '*.cpp'], capture_output=True, text=True, check=True)
    failed = False
    for path in files.stdout.split():
        try:
            with open(path, encoding='utf-8') as file:
                text = file.read()
        except FileNotFoundError:
            continue
        for number, what in breaches(path, text):
            failed = True
            print(f'{path}:{number}: {what}')
    sys.exit(1 if failed else 0)


main()
