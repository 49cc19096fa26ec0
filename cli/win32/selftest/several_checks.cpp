#include "cli/text.h"
#include "cli/win32/selftest/all_checks.h"

#include <algorithm>
#include <thread>

namespace kx::cli {
namespace {

std::string lockText(LockState state) {
  return state == LockState::Held ? "held" : (state == LockState::Free ? "free" : "refused");
}

// Both plays are under way before either is answered.
void twoContexts(Scene& scene, CheckNotes& notes) {
  Browser one(scene.room, notes, "fx", {"on play {begun}", "on play {go}"});
  Browser other(scene.room, notes, "cr", {"on play {begun}", "on play {go}"});
  one.serve();
  other.serve();
  const Context first(scene.library);
  const Context second(scene.library);
  notes.same("kx_Init(), Firefox", kAllWell, first.start(one.attaching()));
  notes.same("kx_Init(), Chrome", kAllWell, second.start(other.attaching()));
  std::string firstTold;
  std::string secondTold;

  std::thread firstHost([&] { firstTold = first.play("extract first"); });
  std::thread secondHost([&] { secondTold = second.play("extract second"); });
  const bool areBoth = one.awaitBegun() && other.awaitBegun();
  one.signalGo();
  other.signalGo();
  firstHost.join();
  secondHost.join();

  notes.holds("both are played at the same time", areBoth, "yes", areBoth ? "yes" : "no");
  notes.same("the first one", "0, number 1, OK, first", firstTold + ", " + first.extracts());
  notes.same("the second one", "0, number 1, OK, second", secondTold + ", " + second.extracts());
  notes.same("kx_Exit(), Firefox", "0", first.exit());
  notes.same("kx_Exit(), Chrome", "0", second.exit());
}

// Two starts of one profile at once: the first holds the lock while it launches, and the second attaches.
void startLock(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {kEndsByItself, "on serve {begun}", "on serve {go}"});
  const Context first(scene.library);
  const Context second(scene.library);
  const StartCall call = browser.launching();
  const std::string lock = "kx-fx-unknonw." + scene.room.userName() + ".lock";
  std::string firstTold;
  std::string secondTold;
  const NamedEvent secondBegun("Local\\" + scene.room.name("second"));

  std::thread firstHost([&] { firstTold = first.start(call); });
  const bool isLaunching = browser.awaitBegun();
  const std::string whileLaunching = lockText(scene.machine.lock(lock));
  std::thread secondHost([&] {
    secondBegun.signal();
    secondTold = second.start(call);
  });
  secondBegun.wait();
  browser.signalGo();
  firstHost.join();
  secondHost.join();

  notes.holds("the browser is launched", isLaunching, "yes", isLaunching ? "yes" : "no");
  notes.same("the start lock meanwhile", lock + " is held", lock + " is " + whileLaunching);
  notes.same("kx_Init(), the first one", kAllWell, firstTold);
  notes.same("kx_Init(), the second one", kAllWell, secondTold);
  const HeldProcess process = browser.process();
  notes.same("browsers that were started", "1", std::to_string(browser.processIds().size()));
  notes.same("kx_GetBrowserProcessId(), the first one", std::to_string(process.id()), first.processId());
  notes.same("kx_GetBrowserProcessId(), the second one", "0", second.processId());
  notes.same("the start lock afterwards", lock + " is free",
             lock + " is " + lockText(scene.machine.lock(lock)));
  notes.same("kx_Exit(), the second one", "0", second.exit());
  notes.same("the browser's end, by itself", kByItself, process.end());
  notes.same("kx_Exit(), the first one", "0", first.exit(1));
}

std::size_t occurrences(const std::string& text, const std::string& what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) {
    ++count;
  }
  return count;
}

void log(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx");
  browser.serve();
  const Context context(scene.library);
  const std::string path = scene.room.path("one check.log");
  const auto text = [&] { return bytesOf(path).value_or(""); };
  setEnvironment("KORVEX_LOGPATH", path);

  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  notes.same("kx_Play()", kAllWell, context.play("extract for the log"));
  notes.same("starts in the log", "1", std::to_string(occurrences(text(), "kx_Init start, browser = fx")));
  notes.same("requests in the log", "2",
             std::to_string(occurrences(text(), "Client: sending message to server")));
  setEnvironment("KORVEX_LOG", std::nullopt);
  const std::string before = text();
  notes.same("kx_Play() with the log off", kAllWell, context.play("stop"));
  notes.same("bytes that it has added", "0", std::to_string(text().size() - before.size()));
  notes.same("a call that fails, with the log off", "-5",
             std::to_string(scene.library.play(1000000, "stop", 1)));
  const std::string added = text().substr(std::min(before.size(), text().size()));
  notes.same("its error in the log", "Error: kx_Play(): context 1000000 does not exist",
             added.substr(0, added.find('\n')));
  setEnvironment("KORVEX_LOG", "on");
  setEnvironment("KORVEX_LOGPATH", scene.room.logPath());
}

}  // namespace

std::vector<Check> severalChecks(Scene& scene) {
  const auto in = [&scene](void (*run)(Scene&, CheckNotes&)) {
    return [&scene, run](CheckNotes& notes) { run(scene, notes); };
  };
  return {
      {"two-contexts", "two contexts on two threads at once", in(twoContexts)},
      {"start-lock", "two starts of one profile launch one browser", in(startLock)},
      {"log", "what the log has, switched on and off", in(log)},
  };
}

}  // namespace kx::cli
