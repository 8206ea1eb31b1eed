"""The workloads: equivalent scripts for the login script language and for each peer, and the C program's name for them.

A workload is a dictionary: program name -> text of the script. All of one workload write the same output.
"""

PEERS = ("dash", "bash", "mksh", "mawk", "lua", "tcl", "perl")


def _block(program, statements):
    """A whole script of a peer whose statements are given: unbuffered, where the peer would buffer otherwise."""
    frames = {
        "mawk": ("BEGIN {\n", "}\n"),
        "lua": ('io.stdout:setvbuf("no")\n', ""),
        "tcl": ("fconfigure stdout -buffering none\n", ""),
        "perl": ("$| = 1;\n", ""),
    }
    before, after = frames.get(program, ("", ""))
    # Lua limits the constants of one function: 1,000 statements stand in a function of their own.
    if program == "lua":
        groups = [statements[i:i + 1000] for i in range(0, len(statements), 1000)]
        return before + "".join("do local function part()\n" + "".join(group) + "end part() end\n" for group in groups)
    return before + "".join(statements) + after


def empty(_count):
    return {program: _block(program, []) for program in PEERS} | {"login": "\n"}


def print_lines(count):
    """W1: one fixed line each."""
    forms = {
        "login": 'WRITE "line %d of the morning"\n', "dash": 'echo "line %d of the morning"\n',
        "mawk": 'print "line %d of the morning"; fflush()\n', "lua": 'io.write("line %d of the morning\\n")\n',
        "tcl": 'puts "line %d of the morning"\n', "perl": 'print "line %d of the morning\\n";\n',
    }
    return _each(forms, count)


def print_references(count):
    """W2: one line with three references to the environment each."""
    forms = {
        "login": 'WRITE "%%<GREETING>, %%<PERSON>: line %d of %%<PLACE>"\n',
        "dash": 'echo "$GREETING, $PERSON: line %d of $PLACE"\n',
        "mawk": 'print ENVIRON["GREETING"] ", " ENVIRON["PERSON"] ": line %d of " ENVIRON["PLACE"]; fflush()\n',
        "lua": 'io.write(os.getenv("GREETING"), ", ", os.getenv("PERSON"), ": line %d of ", os.getenv("PLACE"), "\\n")\n',
        "tcl": 'puts "$env(GREETING), $env(PERSON): line %d of $env(PLACE)"\n',
        "perl": 'print "$ENV{GREETING}, $ENV{PERSON}: line %d of $ENV{PLACE}\\n";\n',
    }
    return _each(forms, count)


def nested(count):
    """W4: blocks of three nested conditions, the middle one with an ELSE that is skipped."""
    forms = {
        "login": 'IF "%%<A>" = "1" THEN\nIF "%%<B>" = "2" THEN\nIF "%d" = "0" THEN\nWRITE "never"\nEND\nELSE\n'
                 'WRITE "skipped"\nEND\nEND\n',
        "dash": 'if [ "$A" = 1 ]; then\nif [ "$B" = 2 ]; then\nif [ %d = 0 ]; then\necho never\nfi\nelse\n'
                'echo skipped\nfi\nfi\n',
        "mawk": 'if (ENVIRON["A"] == "1") { if (ENVIRON["B"] == "2") { if ("%d" == "0") { print "never" } }'
                ' else { print "skipped" } }\n',
        "lua": 'if os.getenv("A") == "1" then if os.getenv("B") == "2" then if "%d" == "0" then print("never") end\n'
               'else print("skipped") end end\n',
        "tcl": 'if {$env(A) eq "1"} { if {$env(B) eq "2"} { if {"%d" eq "0"} { puts never } } else { puts skipped } }\n',
        "perl": 'if ($ENV{A} eq "1") { if ($ENV{B} eq "2") { if ("%d" eq "0") { print "never\\n" } }'
                ' else { print "skipped\\n" } }\n',
    }
    return _each(forms, count)


def programs(count):
    """W5: programs that do nothing, each waited for."""
    forms = {
        "login": "#/bin/true %d\n", "dash": "/bin/true %d\n", "mawk": 'system("/bin/true %d")\n',
        "lua": 'os.execute("/bin/true %d")\n', "tcl": "exec /bin/true %d\n", "perl": 'system "/bin/true", "%d";\n',
    }
    return _each(forms, count)


def _each(forms, count):
    forms = dict(forms, bash=forms["dash"], mksh=forms["dash"])
    return {program: _block(program, [form % (i + 1) for i in range(count)]) for program, form in forms.items()}


def count_loop(count):
    """W3: a loop that counts an exported variable up by a jump, and says at the end how far it got."""
    shell = f'export I=0\nwhile [ "$I" -lt {count} ]; do\nI=$((I + 1))\ndone\necho "$I"\n'
    return {
        "login": f'SET I="0"\nTOP:\nSET I=<I> + 1\nIF VALUE <I> < "{count}" THEN GOTO TOP\nWRITE <I>\n',
        "dash": shell, "bash": shell, "mksh": shell,
        "mawk": f'BEGIN {{ ENVIRON["I"] = 0; while (ENVIRON["I"] < {count}) ENVIRON["I"]++; print ENVIRON["I"] }}\n',
        "lua": f'local I = "0"\nwhile tonumber(I) < {count} do I = tostring(math.tointeger(I) + 1) end\nprint(I)\n',
        "tcl": f'set env(I) 0\nwhile {{$env(I) < {count}}} {{ incr env(I) }}\nputs $env(I)\n',
        "perl": f'$ENV{{I}} = 0;\n$ENV{{I}}++ while $ENV{{I}} < {count};\nprint "$ENV{{I}}\\n";\n',
    }


# Those of the language alone, in which growth is what counts.

def far_label(count, size):
    """W9: a loop that jumps to a label at the end of a script of `size` bytes, from where it jumps back."""
    filler = "REM " + "x" * 94 + "\n"
    return (f'SET I="0"\nGOTO FAR\nBACK:\nIF VALUE <I> >= "{count}" THEN GOTO DONE\nGOTO FAR\n' + filler * (size // 99)
            + 'FAR:\nSET I=<I> + 1\nGOTO BACK\nDONE:\nWRITE <I>\n')


def includes(count, path, size):
    """W10: INCLUDEs of one file in a script of `size` bytes."""
    filler = "REM " + "x" * 94 + "\n"
    return f"INCLUDE {path}\n" * count + filler * (size // 99)
