" Vim indent file
" Language: network login scripts (libqrtscript)
" Made by editors/generate.py from templates/indent.vim.in: change that.

if exists('b:did_indent')
  finish
endif
let b:did_indent = 1

setlocal indentexpr=GetQrtscriptIndent(v:lnum)
setlocal indentkeys=!^F,o,O,<:>,0=~else,0=~end,0=~endif
let b:undo_indent = 'setlocal indentexpr< indentkeys<'

if exists('*GetQrtscriptIndent')
  finish
endif
let s:cpo_save = &cpo
set cpo&vim

let s:if = '\c^\s*\%(IF\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@='
let s:then = '\c\%([ \t:;/"#@%*+()!=<>\\-]\%(\%(GREATER\s\+THAN\|LESS\s\+THAN\|NOT\s\+EQUALS\|EQUAL\|EQUALS\|IS\)\|\%(AND\|NOR\|OR\)\)\s*\|[-=<>;+*/(]\s*\)\@<![ \t:;/"#@%*+()!=<>\\-]\zs\%(THEN\s\+BEGIN\|THEN\s\+DO\|THEN\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@='
" A line that begins like this may be a label, which is found only without blanks in front of it: it stays where it is.
let s:label = '^\s*\%(:\|[^ \t:;/"#@%+()!=<>\\]\+:\)'

" What the line of an IF opens: 1 a block, -N as many IFs whose statement is the next line, 0 nothing.
function! s:Opened(lnum) abort
  " Quoted texts are not part of it.
  let line = substitute(getline(a:lnum), '"\%(\\"\|[^"]\)*"\=', '""', 'g')
  let singles = 0
  while line =~# s:if
    let singles += 1
    let line = substitute(line, s:if, '', '')
    let then = matchend(line, s:then)
    if then < 0
      return -singles
    endif
    let line = line[then :]
    if line =~# '^\s*$'
      return 1
    endif
  endwhile
  return 0
endfunction

function! GetQrtscriptIndent(lnum) abort
  let line = getline(a:lnum)
  if line =~# s:label
    " One that is being typed goes where it is found.
    return mode() ==# 'i' && line =~# '^\s*[^ \t:;/"#@%+()!=<>\\]\+:$' ? 0 : -1
  endif
  let before = prevnonblank(a:lnum - 1)
  while before > 0 && getline(before) =~# s:label
    let before = prevnonblank(before - 1)
  endwhile
  if before == 0
    return 0
  endif
  let opened = s:Opened(before)
  let levels = opened > 0 || getline(before) =~# '\c^\s*\%(ELSE\)\s*$'
  if opened < 0 && before == a:lnum - 1
    " The one statement of IFs without THEN.
    let levels -= opened
  else
    " An empty line behind such an IF makes it a block. A line that was the one statement of IFs ends them.
    let levels += opened < 0
    let above = before - 1
    while above > 0 && s:Opened(above) < 0
      let levels += s:Opened(above)
      let above -= 1
    endwhile
  endif
  let levels -= line =~# '\c^\s*\%(\%(ELSE\)\|\%(END\|ENDIF\)\)\s*$'
  return max([indent(before) + levels * shiftwidth(), 0])
endfunction

let &cpo = s:cpo_save
unlet s:cpo_save
