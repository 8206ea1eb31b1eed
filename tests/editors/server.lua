-- What Neovim says of a script with a mistake, and of its formatting, once it is open: one line each to $SHOWN.
vim.cmd('syntax on')
vim.cmd('filetype plugin indent on')
vim.cmd('edit mistake.qrt')
local shown = {}
local function findings() return vim.diagnostic.get(0) end
vim.wait(20000, function() return #findings() > 0 end)
for _, one in ipairs(findings()) do
  table.insert(shown, string.format('line %d, columns %d to %d, severity %d', one.lnum + 1, one.col + 1, one.end_col + 1, one.severity))
end
table.insert(shown, 'clients ' .. #vim.lsp.buf_get_clients(0))
-- The same server for the next script of the folder.
vim.cmd('edit other.qrt')
table.insert(shown, 'clients ' .. #vim.lsp.buf_get_clients(0))
table.insert(shown, 'servers ' .. #vim.lsp.get_active_clients())
vim.fn.writefile(shown, vim.env.SHOWN)
vim.cmd('quitall!')
