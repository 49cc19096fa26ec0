// Compiled, never run: what the types allow, and what they refuse.
import { Browser, commandLine, ErrorNumber, KxError, type PlayResult, Result } from 'kxtcp64';

export async function allowed(): Promise<PlayResult> {
  await Browser.start();
  await Browser.start({ browser: 'fx', profile: 'work', path: 'C:\\firefox.exe', profiler: true, newWindow: true });
  await Browser.start({ browser: 'cr', userDataDir: 'C:\\data', attach: true, timeout: Infinity });
  await Browser.start({ profile: 'work', runner: true, dll: 'KXTCP64.dll', timeout: 1000 });
  await using browser = await Browser.start({ profile: 'work' });
  const id: number = browser.processId;
  await browser.setVariable('id', String(id));
  await browser.show('message', { timeout: 1000 });
  await browser.screenshot('page.png', { of: 'page' });
  const arguments_: string = commandLine({ profile: 'work' }) + commandLine({ browser: 'cr', userDataDir: 'C:\\data' });
  try {
    const { extracts, performance, profilerData } = await browser.play(arguments_, { variables: { city: 'Oslo' } });
    for (const [name, value] of performance) extracts.push(name.concat(value, profilerData));
  } catch (error) {
    if (error instanceof KxError && error.result === Result.FAILED && error.number === ErrorNumber.TIMEOUT && error.left) {
      return error.left;
    }
  }
  const count: number = await Browser.use({ browser: 'cr' }, async (other) => (await other.play('')).extracts.length);
  await browser.exit({ timeout: count });
  await browser.close();
  return browser.play('');
}

export async function refused(browser: Browser): Promise<void> {
  // @ts-expect-error A misspelt option.
  await Browser.start({ fxProfile: 'work' });
  // @ts-expect-error Another browser.
  await Browser.start({ browser: 'firefox' });
  // @ts-expect-error Firefox's option, for Chrome.
  await Browser.start({ browser: 'cr', profile: 'work' });
  // @ts-expect-error Nothing is launched.
  await Browser.start({ profile: 'work', attach: true, path: 'C:\\firefox.exe' });
  // @ts-expect-error A text.
  await browser.play('', { timeout: '30' });
  // @ts-expect-error A number.
  await browser.setVariable('id', 1);
  // @ts-expect-error Neither the browser nor the page.
  await browser.screenshot('x.png', { of: 'window' });
  // @ts-expect-error No start page for Firefox.
  commandLine({ profile: 'work', startPage: 'C:\\page.html' });
  // @ts-expect-error Browsers come from start().
  new Browser();
}
