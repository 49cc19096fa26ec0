import assert from 'node:assert/strict';
import test from 'node:test';
import { joinSeen, startPageAddress } from '../bridge/settings.mjs';

const kAddresses = [
  ['/tmp/a b/x.html?pipe=\\\\.\\pipe\\kx', 'file:///tmp/a%20b/x.html?pipe=%5C%5C.%5Cpipe%5Ckx'],
  ['C:\\Temp\\x.html?pipe=work', 'file:///C:/Temp/x.html?pipe=work'],
  ['/tmp/x.html', 'file:///tmp/x.html'],
  ['/tmp/ü#1.html?pipe=', 'file:///tmp/%C3%BC%231.html?pipe='],
];

for (const [page, address] of kAddresses) {
  test(`the page ${page} is opened at ${address}`, () => {
    assert.equal(startPageAddress(page), address);
  });
}

test('a path is joined in the manner of its system', () => {
  assert.equal(joinSeen('/tmp/run', 'profile'), '/tmp/run/profile');
  assert.equal(joinSeen('C:\\run', 'profile'), 'C:\\run\\profile');
});
