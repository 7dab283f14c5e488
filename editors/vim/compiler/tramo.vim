" Checks exchange files of meter reading: :compiler tramo, then :make FILE, or :make % for the open file.
if exists('current_compiler')
  finish
endif
let current_compiler = 'tramo'

CompilerSet makeprg=tramo\ check\ --each
" FILE:LINE:COLUMN, FILE:LINE and FILE, each with a severity; excerpts and the summary are ignored.
CompilerSet errorformat=
      \%f:%l:%v:\ %trror:\ %m,
      \%f:%l:%v:\ %tarning:\ %m,
      \%f:%l:%v:\ %tote:\ %m,
      \%f:%l:\ %trror:\ %m,
      \%f:%l:\ %tarning:\ %m,
      \%f:\ %trror:\ %m,
      \%f:\ %tarning:\ %m,
      \%-G%.%#
