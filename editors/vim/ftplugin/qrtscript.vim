" Vim filetype plugin
" Language: network login scripts (libqrtscript)
" Made by editors/generate.py from templates/ftplugin.vim.in: change that.
"
" let g:qrtscript_recommended_style = 0 keeps your own indentation instead of that of "qrtscript fmt".
" let g:qrtscript_lsp = 0 keeps Neovim from starting the language server.
" let g:qrtscript_lsp_options = #{user: '.jdoe.sales.acme'} shows that user's values; tree and context may be there too.

if exists('b:did_ftplugin')
  finish
endif
let b:did_ftplugin = 1
let s:cpo_save = &cpo
set cpo&vim

setlocal comments=b:REMARK,b:REM,b:*,b:;
setlocal commentstring=REM\ %s
setlocal formatoptions-=t formatoptions+=croql
setlocal formatprg=qrtscript\ fmt\ -
setlocal makeprg=qrtscript\ check\ --format\ gcc\ --\ %:S
setlocal errorformat=%f:%l:%c:\ %trror:\ %m,%f:%l:%c:\ %tarning:\ %m,%f:%l:%c:\ %tote:\ %m
let b:undo_ftplugin = 'setlocal comments< commentstring< formatoptions< formatprg< makeprg< errorformat<'

" As qrtscript fmt indents.
if get(g:, 'qrtscript_recommended_style', 1)
  setlocal expandtab shiftwidth=2 softtabstop=2
  let b:undo_ftplugin ..= ' expandtab< shiftwidth< softtabstop<'
endif

" % goes from the IF of a block to its ELSE and its END.
if exists('loaded_matchit')
  let b:match_ignorecase = 1
  let b:match_words = '\%(^\s*\)\@<=\%(IF\)\%([ \t("%<].*[ \t)">]\%(THEN\s\+BEGIN\|THEN\s\+DO\|THEN\)\s*$\)\@='
        \ .. ':\%(^\s*\)\@<=\%(ELSE\)\%(\s*$\)\@=:\%(^\s*\)\@<=\%(END\|ENDIF\)\%(\s*$\)\@='
  let b:match_skip = 's:qrtscriptQuoted\|qrtscriptRemark'
  let b:undo_ftplugin ..= ' | unlet! b:match_ignorecase b:match_words b:match_skip'
endif

if has('nvim') && get(g:, 'qrtscript_lsp', 1) && executable('qrtscript')
  lua require('qrtscript').start()
endif

let &cpo = s:cpo_save
unlet s:cpo_save
