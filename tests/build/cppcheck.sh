#!/bin/bash
# cppcheck.sh SOURCE_FOLDER: cppcheck has nothing to say about the libraries and programs. Loops may stay loops; the
# casts of GTK's macros are C's.
set -euo pipefail
cd "$1"
cppcheck --quiet --error-exitcode=1 --enable=warning,style,performance,portability --inline-suppr --std=c++17 \
    --library=gtk "--suppress=cstyleCast:*/window/*" \
    --language=c++ --suppress=missingIncludeSystem --suppress=useStlAlgorithm \
    --template='{file}:{line}: {severity} {id}: {message}' -I. -Iinclude \
    $(cat cmake/floors.txt) platform tools
