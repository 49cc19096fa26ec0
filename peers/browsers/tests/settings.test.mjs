import assert from 'node:assert/strict';
import test from 'node:test';
import { joinSeen, startPageAddress } from '../bridge/settings.mjs';

const kAddresses = [
  ['/t/a b/x.html?pipe=\\\\.\\pipe\\kx', 'file:///t/a%20b/x.html?pipe=%5C%5C.%5Cpipe%5Ckx'],
  ['C:\\Temp\\x.html?pipe=work', 'file:///C:/Temp/x.html?pipe=work'],
  ['/t/x.html', 'file:///t/x.html'],
  ['/t/ü#1.html?pipe=', 'file:///t/%C3%BC%231.html?pipe='],
];

for (const [page, address] of kAddresses) {
  test(`the page ${page} is opened at ${address}`, () => {
    assert.equal(startPageAddress(page), address);
  });
}

test('a path is joined in the manner of its system', () => {
  assert.equal(joinSeen('/t/run', 'profile'), '/t/run/profile');
  assert.equal(joinSeen('C:\\run', 'profile'), 'C:\\run\\profile');
});
