import assert from 'node:assert/strict';
import test from 'node:test';
import { withPreferences } from '../watcher/firefox_preferences.mjs';

test('every line between the marks is a preference', () => {
  const lines = withPreferences('').trimEnd().split('\n');
  assert.equal(lines[0], '// kxbrowser: begin');
  assert.equal(lines.at(-1), '// kxbrowser: end');
  for (const line of lines.slice(1, -1)) {
    assert.match(line, /^user_pref\("[\w.-]+", (true|false|-?\d+|"[^"]*")\);$/);
  }
});

test("a user's own lines stay as they are", () => {
  const own = 'user_pref("a", 1);';
  assert.ok(withPreferences(own).startsWith(`${own}\n// kxbrowser: begin`));
});

test('writing them twice changes nothing', () => {
  const once = withPreferences('user_pref("a", 1);\n');
  assert.equal(withPreferences(once), once);
});

test('an older block is replaced where it stands', () => {
  const older = 'before\n// kxbrowser: begin\nuser_pref("gone", 1);\n// kxbrowser: end\nafter\n';
  const text = withPreferences(older);
  assert.ok(text.startsWith('before\n// kxbrowser: begin') && text.endsWith('// kxbrowser: end\nafter\n'));
  assert.ok(!text.includes('gone'));
});
