// protocol_client.js QRTSCRIPT: a session of the language server with the library that editors use for the protocol. It
// checks the order of messages, their headers and the types of the answers in its own way.
'use strict';
const assert = require('assert');
const {spawn} = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const rpc = require('vscode-languageserver-protocol/node');

const program = process.argv[2];
const folder = fs.realpathSync(fs.mkdtempSync(path.join(os.tmpdir(), 'protocol_client')));
const uri = 'file://' + folder + '/script.qrt';
const textDocument = {uri};
const script = [
  'REM a session',            // 0
  'if "%TITLE" = "x" THEN',   // 1
  '  GOTO DONE',              // 2
  'END',                      // 3
  'INCLUDE more.qrt',         // 4
  'FOO \u{1F600}',            // 5
  'WRITE "not closed',        // 6
  'DONE:',                    // 7
  ''].join('\n');

// The text after edits, as an editor makes them.
function applied(text, edits) {
  const lines = text.split('\n');
  const offset = at => lines.slice(0, at.line).reduce((sum, line) => sum + line.length + 1, 0) + at.character;
  const sorted = [...edits].sort((a, b) => offset(b.range.start) - offset(a.range.start));
  for (const {range, newText} of sorted) text = text.slice(0, offset(range.start)) + newText + text.slice(offset(range.end));
  return text;
}

function started() {
  const environment = {...process.env, LC_ALL: 'C.UTF-8', ZKCLIENT_CONF: path.join(__dirname, '../../examples/acme/client.toml')};
  const server = spawn(program, ['lsp', '--stdio'], {env: environment, stdio: ['pipe', 'pipe', 'inherit']});
  server.ended = new Promise(resolve => server.on('exit', resolve));
  const reader = new rpc.StreamMessageReader(server.stdout), writer = new rpc.StreamMessageWriter(server.stdin);
  const failures = [];
  reader.onError(problem => failures.push(problem));
  reader.onPartialMessage(problem => failures.push(problem));
  server.failures = failures;
  server.connection = rpc.createProtocolConnection(reader, writer);
  server.connection.onError(problem => failures.push(problem));
  server.connection.onUnhandledNotification(message => failures.push(message));
  return server;
}

// The next diagnostics.
function findings(connection) {
  return new Promise(resolve => {
    const waiting = connection.onNotification(rpc.PublishDiagnosticsNotification.type, params => {
      waiting.dispose();
      resolve(params);
    });
  });
}

async function handshake(connection) {
  const result = await connection.sendRequest(rpc.InitializeRequest.type, {
    processId: process.pid, rootUri: null, capabilities: {}, workspaceFolders: [{uri: 'file://' + folder, name: 'x'}],
    initializationOptions: {user: '.jdoe.sales.acme'},
  });
  const can = result.capabilities;
  assert.strictEqual(can.textDocumentSync.change, rpc.TextDocumentSyncKind.Incremental);
  assert.ok(can.completionProvider && can.hoverProvider && can.definitionProvider && can.renameProvider);
  await connection.sendNotification(rpc.InitializedNotification.type, {});
}

async function diagnostics(connection) {
  const opened = findings(connection);
  await connection.sendNotification(rpc.DidOpenTextDocumentNotification.type,
                                    {textDocument: {uri, languageId: 'qrtscript', version: 1, text: script}});
  const {diagnostics: list, version} = await opened;
  assert.strictEqual(version, 1);
  assert.ok(list.every(one => rpc.Diagnostic.is(one)));
  const mistake = list.find(one => one.code === 'QS1001');
  assert.strictEqual(mistake.severity, rpc.DiagnosticSeverity.Error);
  assert.strictEqual(mistake.range.start.line, 5);
  const changed = findings(connection);
  await connection.sendNotification(rpc.DidChangeTextDocumentNotification.type, {
    textDocument: {uri, version: 2},
    contentChanges: [{range: rpc.Range.create(5, 0, 5, script.split('\n')[5].length), text: 'CLS'}],
  });
  const after = await changed;
  assert.ok(!after.diagnostics.some(one => one.code === 'QS1001'));
  return {text: script.replace(/FOO.*/, 'CLS'), list: after.diagnostics};
}

async function help(connection) {
  const hover = await connection.sendRequest(rpc.HoverRequest.type, {textDocument, position: {line: 1, character: 5}});
  assert.ok(rpc.Hover.is(hover));
  assert.match(hover.contents.value, /`%TITLE`.*\n\nFor `jdoe\.sales\.acme`: `Account manager`$/);
  assert.strictEqual(await connection.sendRequest(rpc.HoverRequest.type, {textDocument, position: {line: 0, character: 8}}), null);
  const items = await connection.sendRequest(rpc.CompletionRequest.type, {textDocument, position: {line: 2, character: 7}});
  assert.ok(items.every(one => rpc.TextEdit.is(one.textEdit)));
  assert.deepStrictEqual(items.map(one => one.label), ['DONE']);
}

async function navigation(connection, text) {
  const label = await connection.sendRequest(rpc.DefinitionRequest.type, {textDocument, position: {line: 2, character: 8}});
  assert.ok(rpc.Location.is(label));
  assert.strictEqual(label.range.start.line, 7);
  const file = await connection.sendRequest(rpc.DefinitionRequest.type, {textDocument, position: {line: 4, character: 10}});
  assert.strictEqual(file.uri, 'file://' + folder + '/more.qrt');
  const renamed = await connection.sendRequest(rpc.RenameRequest.type,
                                               {textDocument, position: {line: 2, character: 8}, newName: 'LAST'});
  assert.ok(rpc.WorkspaceEdit.is(renamed));
  assert.strictEqual(applied(text, renamed.changes[uri]), text.replace(/DONE/g, 'LAST'));
  const folds = await connection.sendRequest(rpc.FoldingRangeRequest.type, {textDocument});
  assert.ok(folds.every(one => rpc.FoldingRange.is(one)));
  assert.deepStrictEqual(folds.map(one => [one.startLine, one.endLine]), [[1, 2]]);
  await assert.rejects(connection.sendRequest(rpc.RenameRequest.type,
                                              {textDocument, position: {line: 2, character: 8}, newName: 'not one'}),
                       problem => problem instanceof rpc.ResponseError);
}

async function edits(connection, text, list) {
  const formatting = await connection.sendRequest(rpc.DocumentFormattingRequest.type,
                                                  {textDocument, options: {tabSize: 2, insertSpaces: true}});
  assert.ok(formatting.every(one => rpc.TextEdit.is(one)));
  assert.strictEqual(applied(text, formatting), text.replace('if "', 'IF "'));
  const open = list.find(one => one.code === 'QS2011');
  const actions = await connection.sendRequest(rpc.CodeActionRequest.type,
                                               {textDocument, range: open.range, context: {diagnostics: [open]}});
  assert.ok(actions.every(one => rpc.CodeAction.is(one)));
  const fix = actions.find(one => one.diagnostics[0].code === 'QS2011');
  assert.strictEqual(applied(text, fix.edit.changes[uri]), text.replace('not closed', 'not closed"'));
}

async function main() {
  fs.writeFileSync(path.join(folder, 'more.qrt'), 'WRITE "more"\n');
  const server = started(), {connection} = server;
  connection.listen();
  await handshake(connection);
  const {text, list} = await diagnostics(connection);
  await help(connection);
  await navigation(connection, text);
  await edits(connection, text, list);
  const closed = findings(connection);
  await connection.sendNotification(rpc.DidCloseTextDocumentNotification.type, {textDocument});
  assert.deepStrictEqual((await closed).diagnostics, []);
  await connection.sendRequest(rpc.ShutdownRequest.type);
  await connection.sendNotification(rpc.ExitNotification.type);
  assert.strictEqual(await server.ended, 0);
  assert.deepStrictEqual(server.failures, []);
}

process.on('exit', () => fs.rmSync(folder, {recursive: true}));
main().then(() => process.exit(0), problem => {
  console.error(problem);
  process.exit(1);
});
