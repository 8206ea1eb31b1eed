" Vim syntax file
" Language: network login scripts (libqrtscript)
" Made by editors/generate.py from templates/syntax.vim.in: change that.

if exists('b:current_syntax')
  finish
endif
let s:cpo_save = &cpo
set cpo&vim

syntax case ignore
" Every line stands by itself.
syntax sync maxlines=1

" A keyword is one by its place only: each item says what may follow it, and what nothing leads to stays as it is.
syntax cluster qrtscriptStatement contains=qrtscriptAlone,qrtscriptOther,qrtscriptText,qrtscriptFile,qrtscriptAssign,qrtscriptGoto,qrtscriptIf,qrtscriptLine,qrtscriptProgram,qrtscriptRemark,qrtscriptLost
syntax cluster qrtscriptOperand contains=qrtscriptSign,qrtscriptClosed,qrtscriptName,qrtscriptQuoted,qrtscriptReference,qrtscriptVariable,qrtscriptMember
syntax cluster qrtscriptOperator contains=qrtscriptSign,qrtscriptClosed,qrtscriptCompare,qrtscriptLogic,qrtscriptThen

syntax match qrtscriptStart '^\s*' nextgroup=@qrtscriptStatement

" Quoted texts and references stand for themselves, wherever a line cannot be followed any more.
syntax region qrtscriptQuoted start='"' skip='\\"' end='"' end='\r*$' keepend oneline contains=qrtscriptEscape,qrtscriptTextReference,qrtscriptQuotedName,@Spell nextgroup=@qrtscriptOperator skipwhite
syntax match qrtscriptEscape '\\["\\rn7]' contained
syntax match qrtscriptReference '%home directory[^ \t:;/"#@%*+()!=<>\\-]*\|%\s*\%(<\s*[^ \t:;/"#@%*+()!=<>\\-]\+\%(\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\+\)*\s*>\|[^ \t:;/"#@%*+()!=<>\\-]\+\%(\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\+\)*\)' contains=qrtscriptWholeIdentifier nextgroup=@qrtscriptOperator skipwhite

" In a quoted text and in the rest of a line a name ends at other signs.
syntax match qrtscriptTextReference '%\%(home directory[^ \t"#@/:(),.%;>\\-]*>\=\|[^ \t"#@/:(),.%;>\\-]\+>\=\|>\)' contained contains=qrtscriptIdentifier
syntax match qrtscriptQuotedName '%\\"\%([^"]\|\\\@1<="\)*' contained
syntax match qrtscriptLineReference '%\%(home directory[^ \t"#@/:(),.%;>\\-]*>\=\|[^ \t"#@/:(),.%;>\\-]\+>\=\|>\|".*\)' contained contains=qrtscriptIdentifier
syntax match qrtscriptIdentifier '%\%(\%(24HOUR\|ACCESS_SERVER\|AM_PM\|CN\|COMSPEC\|CONNECTION\|DAY\|DAY_OF_WEEK\|DIALUP\|DOS_REQUESTER\|ERROR_LEVEL\|FERROX_REQUESTER\|FERROX_SHELL\|FILESERVER\|FILE_SERVER\|FULL_NAME\|GREETING_TIME\|HOME_DIRECTORY\|HOUR\|HOUR24\|HOURS\|LANGUAGE\|LAST_NAME\|LOGIN_ALIAS_CONTEXT\|LOGIN_CONTEXT\|LOGIN_NAME\|MACHINE\|MESSAGE_SERVER\|MINUTE\|MINUTES\|MONTH\|MONTH_NAME\|NDAY_OF_WEEK\|NETWORK\|NETWORK_ADDRESS\|NEW_MAIL\|OFFLINE\|OS\|OS_VERSION\|PASSWORD_EXPIRES\|PHYSICAL_STATION\|PLATFORM\|P_STATION\|REQUESTER\|REQUESTER_CONTEXT\|REQUESTER_VERSION\|SECOND\|SECONDS\|SHELL_TYPE\|SHELL_VERSION\|SHORT_YEAR\|SLOT\|SMACHINE\|STATION\|USERID\|USER_ID\|WINVER\|YEAR\)\|home directory\)\%([ \t"#@/:(),.%;>\\-]\|$\)\@=>\@!' contained
syntax match qrtscriptWholeIdentifier '%\%(\s*\%(24HOUR\|ACCESS_SERVER\|AM_PM\|CN\|COMSPEC\|CONNECTION\|DAY\|DAY_OF_WEEK\|DIALUP\|DOS_REQUESTER\|ERROR_LEVEL\|FERROX_REQUESTER\|FERROX_SHELL\|FILESERVER\|FILE_SERVER\|FULL_NAME\|GREETING_TIME\|HOME_DIRECTORY\|HOUR\|HOUR24\|HOURS\|LANGUAGE\|LAST_NAME\|LOGIN_ALIAS_CONTEXT\|LOGIN_CONTEXT\|LOGIN_NAME\|MACHINE\|MESSAGE_SERVER\|MINUTE\|MINUTES\|MONTH\|MONTH_NAME\|NDAY_OF_WEEK\|NETWORK\|NETWORK_ADDRESS\|NEW_MAIL\|OFFLINE\|OS\|OS_VERSION\|PASSWORD_EXPIRES\|PHYSICAL_STATION\|PLATFORM\|P_STATION\|REQUESTER\|REQUESTER_CONTEXT\|REQUESTER_VERSION\|SECOND\|SECONDS\|SHELL_TYPE\|SHELL_VERSION\|SHORT_YEAR\|SLOT\|SMACHINE\|STATION\|USERID\|USER_ID\|WINVER\|YEAR\)\|home directory\)\%([^ \t:;/"#@%*+()!=<>\\-]\|\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\)\@!' contained

" Operands and what stands between them.
syntax match qrtscriptName '[^ \t:;/"#@%*+()!=<>\\-]\+\%(\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\+\)*' contained nextgroup=@qrtscriptOperator skipwhite
syntax match qrtscriptMember '\%(NOT\s\+MEMBER\s\+OF\|NOT\s\+MEMBERS\s\+OF\|MEMBER\s\+OF\|MEMBERS\s\+OF\)\%(\s*"\)\@=' contained nextgroup=qrtscriptQuoted skipwhite
syntax match qrtscriptSign '[-;+*/=<>!]' contained nextgroup=@qrtscriptOperand skipwhite
syntax match qrtscriptOpened '(' contained nextgroup=@qrtscriptOperand,qrtscriptOpened,qrtscriptValue skipwhite
syntax match qrtscriptClosed ')' contained nextgroup=@qrtscriptOperator skipwhite
syntax match qrtscriptVariable '<\s*[^ \t:;/"#@%*+()!=<>\\-]\+\%(\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\+\)*\s*>' contained nextgroup=@qrtscriptOperator skipwhite
syntax match qrtscriptCompare '\%(GREATER\s\+THAN\|LESS\s\+THAN\|NOT\s\+EQUALS\|EQUAL\|EQUALS\|IS\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=@qrtscriptOperand skipwhite
syntax match qrtscriptLogic '\%(AND\|NOR\|OR\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=@qrtscriptOperand,qrtscriptOpened,qrtscriptValue skipwhite
syntax match qrtscriptValue '\%(VALUE\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=@qrtscriptOperand skipwhite
syntax match qrtscriptThen '\%(THEN\s\+BEGIN\|THEN\s\+DO\|THEN\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=@qrtscriptStatement skipwhite

" Statements.
syntax match qrtscriptAlone '\%(BREAK\|CLS\|DOS\|ELSE\|END\|ENDIF\|EXIT\|LASTLOGINTIME\|LAST_LOGIN_TIME\|LOCAL\|NOSWAP\|NO_DEFAULT\|PAUSE\|SET_TIME\|SWAP\|TEMP\|WAIT\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained
syntax match qrtscriptOther '\%(ATTACH\|CHANGE_CONTEXT\|CONTEXT\|CX\|DEBUG\|DRIVE\|FIRE\|PROFILE\|SCRIPT_SERVER\|SHIFT\|TERM\|TREE\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained
syntax match qrtscriptText '\%(REGREAD\|WRITE\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=@qrtscriptOperand skipwhite
syntax match qrtscriptFile '\%(COMSPEC\|DISPLAY\|FDISPLAY\|INCLUDE\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=qrtscriptVolume,qrtscriptReference,qrtscriptQuoted skipwhite
syntax match qrtscriptVolume '[^:/\\%"]*[:/\\]' contained nextgroup=qrtscriptRest
syntax match qrtscriptAssign '\%(DOS\s\+SET\|LOCAL\s\+SET\|TEMP\s\+SET\|SET\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=qrtscriptTarget skipwhite
syntax match qrtscriptTarget '[^ \t:;/"#@%*+()!=<>\\-]\+\%(\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\+\)*\s*=\=' contained contains=qrtscriptSign nextgroup=@qrtscriptOperand skipwhite
syntax match qrtscriptGoto '\%(GOTO\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=qrtscriptLabelName skipwhite
syntax match qrtscriptLabelName '[^ \t:;/"#@%*+()!=<>\\-]\+\%(\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\+\)*' contained
syntax match qrtscriptIf '\%(IF\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=@qrtscriptOperand,qrtscriptOpened,qrtscriptValue skipwhite
syntax match qrtscriptOther '\%(DOS\s\+VERIFY\|FIRE\s\+PHASER\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=\%(\s*[^ \t\r]\)\@=' contained
syntax match qrtscriptAlone '\%(DOS\s\+BREAK\s\+OFF\|DOS\s\+BREAK\s\+ON\|BREAK\s\+OFF\|BREAK\s\+ON\|DEBUG\s\+OFF\|SET_TIME\s\+OFF\|SET_TIME\s\+ON\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained
syntax match qrtscriptLine '\%(MAP\|PATH\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=' contained nextgroup=qrtscriptRest
syntax match qrtscriptProgram '[#@]' contained nextgroup=qrtscriptRest
syntax match qrtscriptRest '.*' contained contains=qrtscriptLineReference
syntax match qrtscriptRemark '\%(\%(REM\|REMARK\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=\|[*;]\).*' contained contains=qrtscriptTodo,@Spell
" What would be a label at the start of the line, without the blanks.
syntax match qrtscriptLost '\%(\%(MAP\|PATH\|REM\|REMARK\)\%([ \t:;/"#@%*+()!=<>\\-]\|$\)\@=\)\@![^ \t:;/"#@%*+()!=<>\\-]\+\s*:\s*\r*$' contained
syntax keyword qrtscriptTodo TODO FIXME XXX contained

" A label stands at the very start of its line.
syntax match qrtscriptLabel '^\%(:[^ \t:;/"#@%*+()!=<>\\-]\+\%(\s*[-*]\s*[^ \t:;/"#@%*+()!=<>\\-]\+\)*\|\%(\%(MAP\|PATH\|REM\|REMARK\):\)\@![^ \t:;/"#@%*+()!=<>\\-]\+:\)\s*\r*$'

highlight default link qrtscriptAlone Statement
highlight default link qrtscriptOther Statement
highlight default link qrtscriptText Statement
highlight default link qrtscriptFile Statement
highlight default link qrtscriptAssign Statement
highlight default link qrtscriptGoto Statement
highlight default link qrtscriptLine Statement
highlight default link qrtscriptProgram Special
highlight default link qrtscriptIf Conditional
highlight default link qrtscriptThen Conditional
highlight default link qrtscriptCompare Operator
highlight default link qrtscriptLogic Operator
highlight default link qrtscriptValue Operator
highlight default link qrtscriptMember Operator
highlight default link qrtscriptQuoted String
highlight default link qrtscriptEscape SpecialChar
highlight default link qrtscriptIdentifier Identifier
highlight default link qrtscriptWholeIdentifier Identifier
highlight default link qrtscriptReference PreProc
highlight default link qrtscriptTextReference PreProc
highlight default link qrtscriptQuotedName PreProc
highlight default link qrtscriptLineReference PreProc
highlight default link qrtscriptVariable PreProc
highlight default link qrtscriptLabel Label
highlight default link qrtscriptLabelName Label
highlight default link qrtscriptLost Error
highlight default link qrtscriptRemark Comment
highlight default link qrtscriptTodo Todo

let b:current_syntax = 'qrtscript'
let &cpo = s:cpo_save
unlet s:cpo_save
