" Writes for each of the files named in $SCRIPTS, one a line, how deep each of its lines stands after gg=G, to $SHOWN; the
" blanks in front of lines are taken away first, except where a line would become a label or is one.
filetype plugin indent on
let s:shown = []
for s:path in readfile($SCRIPTS)
  execute 'edit' fnameescape(s:path)
  call add(s:shown, '== ' .. s:path)
  setlocal shiftwidth=3 expandtab
  silent global!/^\s*\%(:\|[^ \t:]\+:\)/ substitute/^\s*//
  silent normal! gg=G
  for s:line in range(1, line('$'))
    let s:text = getline(s:line)
    call add(s:shown, s:text =~# '^\s*\%(:\|[^ \t:]\+:\)\|^\s*$' ? '-' : printf('%.1f', indent(s:line) / 3.0))
  endfor
  setlocal nomodified
endfor
call writefile(s:shown, $SHOWN)
quitall!
