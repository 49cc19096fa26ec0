// How a real browser is started: its program, its switches and the environment it gets. Pure, so that the tests can
// read what would be run on either system. The watcher runs it.
export const kFirefox = 'fx';
export const kChrome = 'cr';

const kWindowSize = { width: 1280, height: 800 };

const kDefaultPrograms = {
  linux: { fx: 'firefox-esr', cr: 'chromium' },
  win32: {
    fx: 'C:\\Program Files\\Mozilla Firefox\\firefox.exe',
    cr: 'C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe',
  },
};

export function defaultProgram(type, platform) {
  const programs = kDefaultPrograms[platform] ?? kDefaultPrograms.linux;
  return programs[type];
}

function firefoxArguments(run) {
  const shown = run.visible ? [] : ['--headless'];
  const size = ['--width', String(kWindowSize.width), '--height', String(kWindowSize.height)];
  // On Windows the program hands over to another process and would be gone at once without this switch.
  const wait = run.platform === 'win32' ? ['--wait-for-browser'] : [];
  return ['--no-remote', ...shown, ...size, ...wait, '--profile', run.profileFolder, '--remote-debugging-port=0'];
}

function chromeArguments(run) {
  const shown = run.visible ? [] : ['--headless=new', '--disable-gpu', '--hide-scrollbars'];
  // The sandbox refuses to work for the super-user, who is all there is in many containers.
  const sandbox = run.superUser ? ['--no-sandbox'] : [];
  return [
    ...shown,
    ...sandbox,
    `--window-size=${kWindowSize.width},${kWindowSize.height}`,
    `--user-data-dir=${run.profileFolder}`,
    '--remote-debugging-port=0',
    '--disable-quic',
    '--disable-background-networking',
    '--disable-component-update',
    '--disable-default-apps',
    '--disable-sync',
    '--disable-breakpad',
    '--disable-dev-shm-usage',
    '--disable-features=Translate,OptimizationHints,MediaRouter',
    '--metrics-recording-only',
    '--no-default-browser-check',
    '--no-first-run',
    '--password-store=basic',
    'about:blank',
  ];
}

// `run` is what the bridge hands over: type, profileFolder, runFolder, program (may be empty), visible, mark; and what
// the watcher adds: platform, superUser, homeFolder.
export function browserCommand(run) {
  const program = run.program || defaultProgram(run.type, run.platform);
  const args = run.type === kFirefox ? firefoxArguments(run) : chromeArguments(run);
  const environment = { KXB_MARK: run.mark, MOZ_CRASHREPORTER_DISABLE: '1' };
  if (run.platform !== 'win32') {
    // Caches, crash reports and the like go where they are cleared away with the run.
    const home = run.homeFolder;
    Object.assign(environment, {
      HOME: home,
      XDG_CACHE_HOME: `${home}/.cache`,
      XDG_CONFIG_HOME: `${home}/.config`,
      XDG_DATA_HOME: `${home}/.local/share`,
      XDG_RUNTIME_DIR: home,
      TMPDIR: home,
      TEMP: home,
      TMP: home,
    });
  }
  return { program, args, environment };
}
