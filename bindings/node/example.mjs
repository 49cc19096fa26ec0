// node example.mjs BROWSER MACRO-TEXT
import { Browser } from 'kxtcp64';

const [path, macro] = process.argv.slice(2);
await Browser.use({ profile: 'work', path }, async (browser) => {
  await browser.setVariable('city', 'Tromsø');
  const { extracts } = await browser.play(macro);
  console.log(extracts.join('\n'));
});
