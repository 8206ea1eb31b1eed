autocmd BufNewFile,BufRead *.qrt setfiletype qrtscript
