" What a person does in a script; each line of $SHOWN says what came of it.
filetype plugin indent on
packadd matchit
let s:shown = []
function! s:Show(what, value) abort
  call add(s:shown, a:what .. ': ' .. string(a:value))
endfunction

edit use.qrt
call s:Show('file type', &filetype)
call s:Show('formatprg', &formatprg)
call s:Show('makeprg', &makeprg)
call s:Show('comment', printf(&commentstring, 'x'))

" Typing: indented as one types, and a label goes to the start of its line.
execute "normal! iIF \"a\" = \"a\" THEN\<CR>WRITE \"IF\"\<CR>else\<CR>IF \"b\" = \"b\" THEN EXIT\<CR>again:\<CR>GOTO again\<CR>endif\<CR>CLS"
call s:Show('typed', getline(1, '$'))

" Remarks go on in the next line.
call setline(1, ['* one'])
silent 2,$delete _
execute "normal! A\<CR>two"
call s:Show('remark', getline(1, '$'))

" From IF to its ELSE and END; not to the IF of one line, nor into quoted texts.
call setline(1, ['IF "a" = "b" THEN', '  WRITE "', 'END"', '  IF "c" = "d" THEN CLS', 'REM END', 'ELSE', 'END'])
call cursor(1, 1)
let s:places = []
for s:step in range(3)
  normal %
  call add(s:places, line('.'))
endfor
call s:Show('matching', s:places)

" What qrtscript check writes is understood.
call writefile(["#!/bin/sh", 'echo "$@" >asked', 'echo "use.qrt:2:3: warning: an IF [QS1001]"',
      \ 'echo "use.qrt:4:1: note: an END [QS1002]"'], 'qrtscript')
call setfperm('qrtscript', 'rwx------')
let $PATH = getcwd() .. ':' .. $PATH
silent write
silent make!
call s:Show('asked', readfile('asked'))
call s:Show('findings', map(filter(getqflist(), 'v:val.valid'), {_, one -> [one.lnum, one.col, one.type, one.text]}))
call writefile(s:shown, $SHOWN)
quitall!
