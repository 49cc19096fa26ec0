// The preferences a Firefox profile gets before it is used: nothing is fetched, reported or asked on its own account.
// They stand in user.js between two marks, so that a user's own lines stay as they are.
import fs from 'node:fs';
import path from 'node:path';

const kBegin = '// kxbrowser: begin';
const kEnd = '// kxbrowser: end';

const kPreferences = {
  'app.normandy.enabled': false,
  'app.shield.optoutstudies.enabled': false,
  'app.update.auto': false,
  'app.update.enabled': false,
  'browser.aboutHomeSnippets.updateUrl': '',
  'browser.aboutwelcome.enabled': false,
  'browser.contentblocking.introCount': 99,
  'browser.discovery.enabled': false,
  'browser.newtabpage.activity-stream.feeds.section.topstories': false,
  'browser.newtabpage.activity-stream.showSponsored': false,
  'browser.newtabpage.activity-stream.showSponsoredTopSites': false,
  'browser.newtabpage.enabled': false,
  'browser.ping-centre.telemetry': false,
  'browser.region.network.url': '',
  'browser.region.update.enabled': false,
  'browser.safebrowsing.downloads.enabled': false,
  'browser.safebrowsing.malware.enabled': false,
  'browser.safebrowsing.phishing.enabled': false,
  'browser.search.update': false,
  'browser.sessionstore.resume_from_crash': false,
  'browser.shell.checkDefaultBrowser': false,
  'browser.startup.homepage': 'about:blank',
  'browser.startup.homepage_override.mstone': 'ignore',
  'browser.startup.page': 0,
  'browser.tabs.warnOnClose': false,
  'browser.topsites.contile.enabled': false,
  'browser.uitour.enabled': false,
  'datareporting.healthreport.uploadEnabled': false,
  'datareporting.policy.dataSubmissionEnabled': false,
  'dom.push.connection.enabled': false,
  'extensions.getAddons.cache.enabled': false,
  'extensions.getAddons.discovery.api_url': '',
  'extensions.systemAddon.update.enabled': false,
  'extensions.update.enabled': false,
  'geo.enabled': false,
  'media.gmp-manager.updateEnabled': false,
  'messaging-system.rsexperimentloader.enabled': false,
  'nimbus.rollouts.enabled': false,
  'network.captive-portal-service.enabled': false,
  'network.connectivity-service.enabled': false,
  'network.dns.disablePrefetch': true,
  'network.prefetch-next': false,
  'network.trr.mode': 5,
  'security.OCSP.enabled': 0,
  'services.settings.server': 'data:,#remote-settings-dummy/v1',
  'signon.rememberSignons': false,
  'toolkit.cosmeticAnimations.enabled': false,
  // A run that was ended by force would otherwise count as a crash, and the third one start in safe mode.
  'toolkit.startup.max_resumed_crashes': -1,
  'toolkit.telemetry.enabled': false,
  'toolkit.telemetry.reportingpolicy.firstRun': false,
  'toolkit.telemetry.server': 'data:,',
  'toolkit.telemetry.unified': false,
  'trailhead.firstrun.branches': 'nofirstrun-empty',
};

function block() {
  const lines = Object.entries(kPreferences).map(
    ([name, value]) => `user_pref(${JSON.stringify(name)}, ${JSON.stringify(value)});`,
  );
  return [kBegin, ...lines, kEnd, ''].join('\n');
}

// The text of user.js with our block in the place of an earlier one, or else behind the user's own lines.
export function withPreferences(text) {
  const begin = text.indexOf(kBegin);
  const end = text.indexOf(kEnd, begin);
  if (begin >= 0 && end >= 0) {
    return text.slice(0, begin) + block() + text.slice(end + kEnd.length).replace(/^\r?\n/, '');
  }
  return (text === '' || text.endsWith('\n') ? text : `${text}\n`) + block();
}

export function writePreferences(profileFolder) {
  const file = path.join(profileFolder, 'user.js');
  const before = fs.existsSync(file) ? fs.readFileSync(file, 'utf8') : '';
  const after = withPreferences(before);
  if (after !== before) {
    fs.writeFileSync(file, after);
  }
}
