// Starts the language server, `qrtscript lsp`, for login scripts. Colours and indentation need none of this.
'use strict';
const vscode = require('vscode');

let client;

// Without the package, as in a folder that was only copied, the extension goes on without the server.
function languageClient() {
  try {
    return require('vscode-languageclient/node').LanguageClient;
  } catch (problem) {
    if (problem.code !== 'MODULE_NOT_FOUND') throw problem;
    console.warn('qrtscript: vscode-languageclient is not installed (npm install); no language server is started');
    return undefined;
  }
}

async function activate() {
  // The setting is one of the machine: a folder cannot choose what runs.
  const settings = vscode.workspace.getConfiguration('qrtscript');
  const command = settings.get('command');
  const LanguageClient = command ? languageClient() : undefined;
  if (!LanguageClient) return;
  client = new LanguageClient('qrtscript', 'Login scripts', {command, args: ['lsp']}, {
    documentSelector: [{language: 'qrtscript', scheme: 'file'}, {language: 'qrtscript', scheme: 'untitled'}],
    // Whose values are shown; later changes as well.
    initializationOptions: {user: settings.get('user'), tree: settings.get('tree'), context: settings.get('context')},
    synchronize: {configurationSection: 'qrtscript'},
  });
  await client.start();
}

function deactivate() {
  return client ? client.stop() : undefined;
}

module.exports = {activate, deactivate};
