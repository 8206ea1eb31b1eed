#!/bin/bash
# floors.sh SOURCE_DIR: no include circle anywhere, and no file of the library that includes what stands above it.
# A module is x.h with x.cpp; its floor is the number in the list below (0 is the lowest).
set -euo pipefail
cd "$1"
exec python3 - <<'PY'
import glob, os, re, sys

floors = [
    # 0: texts and files, fixed places, the public header
    "include/qrtscript commands/text commands/local_file commands/variables frame/places frame/mount platform/zk platform/treelogin"
    " platform/environment_guard platform/translation",
    # 1: output, messages, traces
    "frame/output",
    # 2: session globals, configuration reader, the clock and the machine
    "frame/session config/conf_reader directory/clock directory/machine",
    # 3: input buffers; the names of the parser
    "script/input_buffer script/token_names script/parser",
    # 4: tokenizer, syntax errors
    "script/tokenizer script/syntax_error",
    # 5: contexts and connection queries, names, script sources
    "network/contexts directory/names frame/script_sources",
    # 6: attributes and volumes
    "directory/attribute_values directory/attributes directory/attribute_compare directory/volumes",
    # 7: identifiers and substitution
    "directory/identifiers directory/identifier_rules directory/substitution",
    # 8: phrases, conditions, control flow
    "script/phrases script/conditions script/control_flow",
    # 9: external programs, tree login, servers
    "commands/words commands/program network/tree_login network/current_tree network/servers",
    # 10: commands
    "commands/drive commands/environment commands/session_statements commands/compatibility commands/file_spec"
    " commands/server_file commands/volume_object commands/object_text commands/print commands/include",
    # 11: the grammar
    "script/actions script/grammar",
    # 12: start and end, the script runner
    "frame/lifecycle frame/script_runner",
    # 13: the run sequence
    "frame/run_sequence",
]
floor = {module: level for level, names in enumerate(floors) for module in names.split()}
folders = "frame script commands directory network config include".split()
files = [f for d in folders for ext in ("h", "cpp", "y") for f in glob.glob(f"{d}/*.{ext}")]
bad, graph = [], {}
for file in sorted(files):
    module = os.path.splitext(file)[0]
    if module not in floor:
        bad.append(f"{file}: stands on no floor")
        continue
    for included in re.findall(r'^\s*#\s*include\s+"([^"]+)"', open(file).read(), re.M):
        if included == "script/grammar.tab.h":
            continue  # token numbers and yylval alone: generated, and without includes of its own
        target = os.path.splitext("include/" + included if included == "qrtscript.h" else included)[0]
        if target not in floor:
            bad.append(f"{file}: includes {included}, which stands on no floor")
        elif floor[target] > floor[module]:
            bad.append(f"{file} (floor {floor[module]}) includes {included} (floor {floor[target]})")
        elif target != module:
            graph.setdefault(module, set()).add(target)
for file in glob.glob("platform/**/*.*", recursive=True) + glob.glob("tools/**/*.*", recursive=True):
    if file.endswith((".h", ".cpp")):
        module = os.path.splitext(file)[0]
        for included in re.findall(r'^\s*#\s*include\s+"([^"]+)"', open(file).read(), re.M):
            target = os.path.splitext(included)[0]
            if target != module:
                graph.setdefault(module, set()).add(target)
done = set()
def walk(module, path):
    if module in path:
        bad.append("circle: " + " -> ".join(path[path.index(module):] + [module]))
        return
    if module in done:
        return
    for target in sorted(graph.get(module, ())):
        walk(target, path + [module])
    done.add(module)
for module in sorted(graph):
    walk(module, [])
print("\n".join(sorted(set(bad))))
sys.exit(1 if bad else 0)
PY
