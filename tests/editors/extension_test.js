// extension_test.js: the extension starts the server that its settings name, and goes on without one. The editor's own
// module and the client are stand-ins: what the extension does with them is what is checked.
'use strict';
const assert = require('assert');
const fs = require('fs');
const Module = require('module');
const path = require('path');

const folder = path.join(__dirname, '../../editors/vscode');
const file = path.join(folder, 'extension.js');
const manifest = JSON.parse(fs.readFileSync(path.join(folder, 'package.json'), 'utf8'));
const load = Module._load;
let command, installed, started, stopped;

class LanguageClient {
  constructor(...words) { this.words = words; }
  async start() { started.push(this.words); }
  async stop() { stopped++; }
}

Module._load = function(request, ...rest) {
  if (request === 'vscode')
    return {workspace: {getConfiguration: section =>
      ({get: name => ({'qrtscript.command': command, 'qrtscript.user': '.jdoe.acme'})[section + '.' + name]})}};
  if (request !== 'vscode-languageclient/node') return load.call(this, request, ...rest);
  if (installed) return {LanguageClient};
  throw Object.assign(new Error('none'), {code: 'MODULE_NOT_FOUND'});
};

async function run(setting, isInstalled) {
  [command, installed, started, stopped] = [setting, isInstalled, [], 0];
  delete require.cache[file];
  const extension = require(file);
  await extension.activate();
  await extension.deactivate();
}

async function main() {
  const setting = manifest.contributes.configuration.properties['qrtscript.command'];
  await run(setting.default, true);
  assert.strictEqual(started.length, 1);
  assert.deepStrictEqual(started[0][2], {command: 'qrtscript', args: ['lsp']});
  assert.ok(started[0][3].documentSelector.every(one => one.language === manifest.contributes.languages[0].id));
  assert.strictEqual(started[0][3].initializationOptions.user, '.jdoe.acme');
  assert.strictEqual(started[0][3].synchronize.configurationSection, 'qrtscript');
  assert.strictEqual(stopped, 1);
  console.warn = () => {};
  await run(setting.default, false);
  assert.strictEqual(started.length, 0);
  await run('', true);
  assert.strictEqual(started.length, 0);
  // A folder's own settings must not choose a program, nor whom the directory is asked about.
  for (const one of Object.values(manifest.contributes.configuration.properties)) assert.strictEqual(one.scope, 'machine');
  const {languages: [language], grammars: [grammar]} = manifest.contributes;
  for (const one of [language.configuration, grammar.path, manifest.main]) fs.accessSync(path.join(folder, one));
  assert.strictEqual(JSON.parse(fs.readFileSync(path.join(folder, grammar.path), 'utf8')).scopeName, grammar.scopeName);
  // Blocks are indented, and single statements are not.
  const rules = JSON.parse(fs.readFileSync(path.join(folder, language.configuration), 'utf8')).indentationRules;
  const matches = (rule, line) => new RegExp(rule.pattern, rule.flags).test(line);
  for (const line of ['IF "a" = "b" THEN', '  if MEMBER OF "x" then begin', 'IF "a" = "b"THEN DO', 'else'])
    assert.ok(matches(rules.increaseIndentPattern, line), line);
  for (const line of ['IF "a" = "b" THEN EXIT', 'WRITE "IF THEN"', 'IFFY THEN', 'ELSEWHERE:', 'END'])
    assert.ok(!matches(rules.increaseIndentPattern, line), line);
  for (const line of ['END', ' endif', 'ELSE']) assert.ok(matches(rules.decreaseIndentPattern, line), line);
  for (const line of ['END:', 'ENDING', 'WRITE END']) assert.ok(!matches(rules.decreaseIndentPattern, line), line);
}

main().catch(problem => {
  console.error(problem);
  process.exit(1);
});
