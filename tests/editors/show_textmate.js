// show_textmate.js SCRIPT...: what the extension's grammar says of every byte of the scripts, with the engine of the editor.
// The packages vscode-textmate and vscode-oniguruma are found by NODE_PATH.
'use strict';
const fs = require('fs');
const path = require('path');
const oniguruma = require('vscode-oniguruma');
const textmate = require('vscode-textmate');

const grammarFile = path.join(__dirname, '../../editors/vscode/syntaxes/qrtscript.tmLanguage.json');
const letters = {comment: 'R', keyword: 'K', string: 'Q', constant: 'Q', variable: 'I', entity: 'L'};

function letter(scopes) {
  for (const scope of [...scopes].reverse()) {
    const found = scope.startsWith('variable.language') ? 'N' : letters[scope.split('.')[0]];
    if (found) return found;
  }
  return '.';
}

function showScript(grammar, file) {
  const lines = fs.readFileSync(file, 'utf8').replace(/\n$/, '').split('\n');
  let state = textmate.INITIAL;
  console.log('== ' + file);
  for (const line of lines.map(text => text.replace(/\r+$/, ''))) {
    const result = grammar.tokenizeLine(line, state, 10000);
    if (result.stoppedEarly) throw new Error(file + ': not tokenized in ten seconds: ' + line);
    let shown = '';
    for (const token of result.tokens)
      shown += letter(token.scopes).repeat(Buffer.byteLength(line.slice(token.startIndex, token.endIndex)));
    console.log(shown);
    state = result.ruleStack;
    if (state.depth > 1) throw new Error(file + ': reaches into the next line: ' + line);
  }
}

async function main() {
  const engine = fs.readFileSync(path.join(path.dirname(require.resolve('vscode-oniguruma')), 'onig.wasm'));
  await oniguruma.loadWASM(engine.buffer.slice(engine.byteOffset, engine.byteOffset + engine.byteLength));
  const registry = new textmate.Registry({
    onigLib: Promise.resolve({
      createOnigScanner: patterns => new oniguruma.OnigScanner(patterns),
      createOnigString: text => new oniguruma.OnigString(text),
    }),
    loadGrammar: async () => textmate.parseRawGrammar(fs.readFileSync(grammarFile, 'utf8'), grammarFile),
  });
  const grammar = await registry.loadGrammar('source.qrtscript');
  for (const file of process.argv.slice(2)) showScript(grammar, file);
}

main().catch(problem => {
  console.error(problem);
  process.exit(1);
});
