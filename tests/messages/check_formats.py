"""check_formats.py SOURCE_DIR BUILD_DIR: every message, formatted by the C library with an argument of its type in each
place, comes out in every language as the translation with those arguments where it names them."""
import ctypes
import locale
import os
import sys

from catalogue import PLACEHOLDER, placeholders, read_po

DOMAIN = b"brasca-client-script"
LIBRARY = ctypes.CDLL(None)
LIBRARY.dgettext.restype = LIBRARY.dngettext.restype = ctypes.c_char_p
LIBRARY.dngettext.argtypes = [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_ulong]

# An argument of each type, and what it looks like; two of a kind in one message differ by their number.
TYPES = {
    "s": lambda number: (ctypes.c_char_p(f"text{number}".encode()), f"text{number}"),
    "X": lambda number: (ctypes.c_uint(0xFFFFFDA0 + number), f"FFFFFDA{number}"),
    "u": lambda number: (ctypes.c_uint(4000000000 + number), str(4000000000 + number)),
    "d": lambda number: (ctypes.c_int(-70 - number), str(-70 - number)),
    "i": lambda number: (ctypes.c_int(-80 - number), str(-80 - number)),
    "ld": lambda number: (ctypes.c_long(-9500000000 - number), str(-9500000000 - number)),
    "lu": lambda number: (ctypes.c_ulong(9000000000 + number), str(9000000000 + number)),
    "zu": lambda number: (ctypes.c_size_t(8000000000 + number), str(8000000000 + number)),
}


def looked_up(message, form):
    if not message.plural:
        return LIBRARY.dgettext(DOMAIN, message.id.encode())
    # Every plural rule of ours has the form for one thing first, and the last for the many.
    return LIBRARY.dngettext(DOMAIN, message.id.encode(), message.plural.encode(), 1 if form == 0 else 17)


def formatted(text, arguments):
    room = ctypes.create_string_buffer(8192)
    LIBRARY.snprintf(room, ctypes.c_size_t(len(room)), text, *arguments)
    return room.value.decode()


def filled(text, looks):
    order = iter(sorted(looks))

    def look(placeholder):
        number, _, conversion, _ = placeholder.groups()
        return "%" if not conversion else looks[int(number) if number else next(order)]

    return PLACEHOLDER.sub(look, text)


def check(message, form, complain):
    wanted = message.forms[form]
    found = looked_up(message, form)
    if found is None or found.decode() != wanted:
        complain(f"{message.id!r} is looked up as {found!r}")
        return
    if "c-format" not in message.flags:
        return
    values = {number: TYPES[kind](number) for number, kind in placeholders(message.plural or message.id).items()}
    text = formatted(found, [values[number][0] for number in sorted(values)])
    if text != filled(wanted, {number: look for number, (_, look) in values.items()}):
        complain(f"{message.id!r} becomes {text!r}")


def main():
    source, build = sys.argv[1:]
    LIBRARY.bindtextdomain(DOMAIN, (build + "/locale").encode())
    complaints, count = [], 0
    for language in open(source + "/po/LINGUAS").read().split():
        os.environ["LANGUAGE"] = language
        # Only a locale that changes makes the C library look at LANGUAGE again.
        locale.setlocale(locale.LC_ALL, "C")
        locale.setlocale(locale.LC_ALL, "C.UTF-8")
        for message in read_po(f"{source}/po/{language}.po")[1:]:
            for form in range(len(message.forms)):
                check(message, form, lambda text: complaints.append(f"{language}: {text}"))
                count += 1
    for complaint in complaints:
        print(complaint)
    print(f"{count} texts formatted, {len(complaints)} complaints")
    return 1 if complaints or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
