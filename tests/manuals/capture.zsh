# capture.zsh FOLDER LINE...: prints what zsh offers when the tabulator is pressed behind each LINE, with the completions
# in FOLDER; "== LINE" stands in front.
zmodload zsh/zpty
zpty worker zsh -f -i
# What is typed is echoed: the marks are put together by the shell.
wait_for() { zpty -r worker REPLY "*$1*" || exit 1 }
zpty -w worker "PROMPT= fpath=(${(q)1} \$fpath); autoload -Uz compinit && compinit -D -u; print -r ready'-'1"
wait_for ready-1
setup=$(mktemp)
cat >$setup <<'END'
compadd() {
    # Those that only fill an array offer nothing.
    if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
    local -a hits
    builtin compadd -A hits "$@"
    local one
    for one in $hits; do print -r -- "<$one>"; done
    builtin compadd "$@"
}
finish() { zle kill-whole-line; print -r -- ready-3 }
zle -N finish
zle -C offer list-choices _main_complete
bindkey '^I' offer
bindkey '^X' finish
setopt no_beep
END
zpty -w worker "source $setup; print -r ready'-'2"
wait_for ready-2
rm -f $setup
for line in "${@:2}"; do
    zpty -w -n worker "$line"$'\t\x18'
    wait_for ready-3
    print -r -- "== $line"
    print -r -- "$REPLY" | tr -d '\r' | sed -n 's/^.*<\([^<>]*\)>$/\1/p' | sort -u
done
zpty -d worker
