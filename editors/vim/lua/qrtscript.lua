-- Starts the language server for the current buffer: one for all scripts of a folder.
local M = {}
local clients = {}

function M.start()
  local buffer = vim.api.nvim_get_current_buf()
  local file = vim.api.nvim_buf_get_name(buffer)
  local root = vim.fn.fnamemodify(file == '' and vim.fn.getcwd() or file, file == '' and ':p' or ':p:h')
  local config = { name = 'qrtscript', cmd = { 'qrtscript', 'lsp' }, root_dir = root,
                   init_options = vim.g.qrtscript_lsp_options }
  if vim.lsp.start then -- since Neovim 0.8
    vim.lsp.start(config)
    return
  end
  config.workspace_folders = { { uri = vim.uri_from_fname(root), name = root } }
  config.on_exit = function() clients[root] = nil end
  clients[root] = clients[root] or vim.lsp.start_client(config)
  if clients[root] then vim.lsp.buf_attach_client(buffer, clients[root]) end
end

return M
