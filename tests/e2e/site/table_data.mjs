// The rows of the table, always the same: a number, a name in one of several scripts, the script, and an amount. The
// names hold what goes wrong on the way through a browser and a pipe: letters outside the first plane, right-to-left
// text, joined emoji, combining marks, quotes, angle brackets and backslashes.
export const kColumns = ['number', 'name', 'script', 'amount'];

const kNames = {
  Latin: ['Łukasz Żółć', 'Åse Bjørnstad', "O'Brien & Söhne", 'Nguyễn Thị Hoa', 'a "quoted" name', 'back\\slash', '<b>not bold</b>',
    'e\u0301 combined'],
  Cyrillic: ['Юлия Щукина', 'Ђорђе Њежић', 'Їжак Ґава', 'Алёна Объезд'],
  Greek: ['Ζωή Ψαλτήρη', 'Ὀδυσσεύς', 'Ελένη Ξύδη', 'Φίλιππος Ωραίος'],
  CJK: ['山田太郎', '李小龍', '𠮷野家', 'カタカナ かな', '東京都・渋谷区'],
  Arabic: ['محمد الأمين', 'فاطمة الزهراء', 'عَبْدُ اللّٰه', 'يوسف ١٢٣'],
  Hangul: ['김철수', '한글 이름', '훈민정음', '각'],
  Emoji: ['👩‍👩‍👧‍👦 family', '🇳🇴🇯🇵 flags', '👍🏽 skin', '🐉🔥', '1️⃣ keycap'],
};

export function tableRows(count) {
  const scripts = Object.keys(kNames);
  return Array.from({ length: count }, (_, i) => {
    const script = scripts[i % scripts.length];
    const names = kNames[script];
    const name = names[Math.floor(i / scripts.length) % names.length];
    return [String(i + 1), `${name} ${i + 1}`, script, ((i * 7919) % 100000 / 100).toFixed(2)];
  });
}
