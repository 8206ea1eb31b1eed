#!/bin/sh
# Writes the catalogue's template, every message that the code marks, to the file named:
#   po/template.sh OUTPUT
# It holds no date and no line number, so that it changes with the messages alone.
set -eu
output=$1
cd "$(dirname "$0")/.."
export LC_ALL=C
{
    cat <<'HEADER'
# The messages of libqrtscript, its client, its prompts and its programs.
# This file belongs to libqrtscript and stands under its license, Apache-2.0.
msgid ""
msgstr ""
"Project-Id-Version: libqrtscript\n"
"PO-Revision-Date: YEAR-MO-DA HO:MI+ZONE\n"
"Last-Translator: \n"
"Language-Team: \n"
"Language: \n"
"MIME-Version: 1.0\n"
"Content-Type: text/plain; charset=UTF-8\n"
"Content-Transfer-Encoding: 8bit\n"

HEADER
    find $(cat cmake/floors.txt) platform tools po \( -name '*.cpp' -o -name '*.h' \) -print | sort |
        xgettext --files-from=- --output=- --omit-header --language=C++ --from-code=UTF-8 --add-location=file \
            --add-comments=TRANSLATORS --keyword --keyword=say --keyword=output_translate --keyword=output_mark --keyword=catalogue_text \
            --keyword=catalogue_mark --keyword=catalogue_format --keyword=catalogue_plural:1,2 \
            --flag=say:1:c-format --flag=catalogue_format:1:c-format --flag=catalogue_plural:1:c-format \
            --flag=catalogue_plural:2:c-format --flag=output_translate:1:pass-c-format \
            --flag=catalogue_text:1:pass-c-format
} >"$output.new"
mv "$output.new" "$output"
