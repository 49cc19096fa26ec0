// Light, dark, or as the system is: one button goes through the three, and the choice is kept. The theme's own script is a
// module, as Debian packs it, and browsers load no module from a disk.
(() => {
  const themes = ['auto', 'light', 'dark'];
  const next = () => {
    const { dataset } = document.body;
    dataset.theme = themes[(themes.indexOf(dataset.theme) + 1) % themes.length];
    localStorage.setItem('theme', dataset.theme);
  };
  document.addEventListener('DOMContentLoaded', () => {
    document.documentElement.classList.remove('no-js');
    for (const button of document.getElementsByClassName('theme-toggle')) {
      button.addEventListener('click', next);
    }
  });
})();
