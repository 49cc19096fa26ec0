// What the launcher tells the bridge, in variables of the environment that begin with KXB_, and what the user may say
// about both, in those that begin with KX_. A path "as the browser sees it" differs from the bridge's own where the
// browser is a program of another system.
import path from 'node:path';

function text(name) {
  return process.env[name] ?? '';
}

function seconds(name, otherwise) {
  const value = Number(process.env[name] || NaN);
  return Number.isFinite(value) ? value : otherwise;
}

export function readSettings() {
  return {
    type: text('KXB_TYPE'),
    pipe: text('KXB_PIPE'), // on which the launcher names the hosts
    launcherId: Number(text('KXB_LAUNCHER_ID')),
    profiler: text('KXB_PROFILER') === '1',
    startPage: text('KXB_START_PAGE'), // as the browser sees it, with the query; may be empty

    runFolder: text('KXB_RUN_FOLDER'),
    runFolderSeen: text('KXB_RUN_FOLDER_SEEN') || text('KXB_RUN_FOLDER'),
    // Empty: a temporary one inside the run's folder.
    profileFolderSeen: text('KXB_PROFILE_FOLDER_SEEN'),
    watcherSeen: text('KXB_WATCHER_SEEN'),
    otherSystem: text('KXB_OTHER_SYSTEM') === '1',

    program: text(text('KXB_TYPE') === 'cr' ? 'KX_CHROME' : 'KX_FIREFOX'),
    visible: text('KX_BROWSER_VISIBLE') === '1',
    keep: text('KX_BROWSER_KEEP') === '1',
    staysOnExit: text('KX_BROWSER_STAYS') === '1',
    startSeconds: seconds('KX_BROWSER_START', 60),
    unusedSeconds: seconds('KX_BROWSER_UNUSED', 120),
    lingerSeconds: seconds('KX_BROWSER_LINGER', 5),
    idleSeconds: seconds('KX_BROWSER_IDLE', 600),
  };
}

export function joinSeen(folder, ...names) {
  return (folder.startsWith('/') ? path.posix : path.win32).join(folder, ...names);
}

// "C:\p\x.html?pipe=..." or "/p/x.html?pipe=..." as an address that a browser can be sent to.
export function startPageAddress(page) {
  const query = page.indexOf('?');
  const file = query < 0 ? page : page.slice(0, query);
  const segments = file.replaceAll('\\', '/').split('/').map((segment, index) =>
    index === 0 && /^[A-Za-z]:$/.test(segment) ? `/${segment}` : encodeURIComponent(segment));
  const address = `file://${segments.join('/')}`;
  return query < 0 ? address : `${address}?${encodeURI(page.slice(query + 1)).replaceAll('\\', '%5C')}`;
}
