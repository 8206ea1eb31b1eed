" Writes for each of the files named in $SCRIPTS, one a line, what is shown of its bytes, to $SHOWN.
let s:letters = {'Remark': 'R', 'Todo': 'R', 'Quoted': 'Q', 'Escape': 'Q', 'Label': 'L', 'LabelName': 'L',
      \ 'Identifier': 'N', 'WholeIdentifier': 'N', 'Reference': 'I', 'TextReference': 'I', 'QuotedName': 'I', 'LineReference': 'I',
      \ 'Variable': 'I', 'Alone': 'K', 'Other': 'K', 'Text': 'K', 'File': 'K', 'Assign': 'K', 'Goto': 'K', 'If': 'K',
      \ 'Then': 'K', 'Compare': 'K', 'Logic': 'K', 'Value': 'K', 'Member': 'K', 'Line': 'K'}
filetype plugin indent on
syntax on
let s:shown = []
for s:path in readfile($SCRIPTS)
  execute 'edit' fnameescape(s:path)
  call add(s:shown, '== ' .. s:path)
  for s:line in range(1, line('$'))
    let s:length = strlen(getline(s:line))
    let s:names = map(range(1, s:length), {_, column -> synIDattr(synID(s:line, column, 1), 'name')})
    call add(s:shown, join(map(s:names, {_, name -> get(s:letters, substitute(name, '^qrtscript', '', ''), '.')}), ''))
  endfor
endfor
call writefile(s:shown, $SHOWN)
quitall!
