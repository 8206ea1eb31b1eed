#!/bin/bash
# cppcheck.sh SOURCE_FOLDER: cppcheck has nothing to say about the libraries and programs. Loops may stay loops.
set -euo pipefail
cd "$1"
cppcheck --quiet --error-exitcode=1 --enable=warning,style,performance,portability --inline-suppr --std=c++17 \
    --language=c++ --suppress=missingIncludeSystem --suppress=useStlAlgorithm \
    --template='{file}:{line}: {severity} {id}: {message}' -I. -Iinclude \
    $(cat cmake/floors.txt) platform tools
