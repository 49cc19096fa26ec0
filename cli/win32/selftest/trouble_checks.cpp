#include "cli/win32/selftest/all_checks.h"

#include <string>
#include <thread>

namespace kx::cli {
namespace {

constexpr char kByForce[] = "code 0";

void lateAnswer(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {kEndsByItself, "on play 1 {go}"});
  browser.serve();
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  notes.same("kx_Play(), not answered in time", "-1, number -3, Error while receiving response",
             context.play("extract late", 1));
  browser.signalGo();
  notes.same("the next kx_Play() gets the late answer", "0, number 1, OK: late",
             context.playAndExtract("extract next"));
  notes.same("kx_Exit() and a new start are the remedy", "0", context.exit());
  notes.same("the browser's end, by itself", kByItself, browser.started().end());
}

// The thread that gave up waiting ends, and Windows cancels its read.
void endedThread(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {"on play 1 {go}"});
  browser.serve();
  const Context context(scene.library);
  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  std::string told;

  std::thread other([&] { told = context.play("extract from a thread that has ended", 1); });
  other.join();
  browser.signalGo();

  notes.same("kx_Play() on a thread that ends", "-1, number -3, Error while receiving response", told);
  notes.same("nothing of its answer is lost", "0, number 1, OK: from a thread that has ended",
             context.playAndExtract("stop"));
}

void noConnectionBack(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {"on handshake hold"});
  browser.serve();
  const Context context(scene.library);

  notes.same("kx_Init()", "-3, number -3, Failed to establish connection",
             context.start(browser.attaching(1)));
}

void suddenDeath(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {kEndsByItself, "on play 2 die 3"});
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.launching()));
  const HeldProcess process = browser.process();
  notes.same("kx_Play()", kAllWell, context.play("extract alive"));
  notes.same("kx_Play(), during which the browser dies",
             "-1, number -1, Server unexpectedly closed connection", context.play("extract dead"));
  notes.same("it died", "code 3", process.end());
  notes.same("kx_Display() after it", "-1, number -1, Error while sending request", context.display("hello"));
  notes.same("kx_Exit()", "0", context.exit(1));
  notes.same("a new start in the same context", kAllWell, context.start(browser.launching()));
  const HeldProcess second = browser.process();
  notes.same("its kx_Exit()", "0", context.exit());
  notes.same("the second browser's end, by itself", kByItself, second.end());
}

// A browser that leaves before it is a browser.
void deathAtStart(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {"on start die 3"});
  const Context context(scene.library);

  notes.same("kx_Init()", "-1, number -1, Could not open server pipe " + browser.pipe(),
             context.start(browser.launching(1)));
}

void exitByForce(Scene& scene, CheckNotes& notes) {
  struct Case {
    const char* what;
    const char* script;
  };
  for (const Case& one : {Case{"a browser that answers and stays", "on exit stay"},
                          Case{"a browser that does not answer", "on exit no-reply"}}) {
    Browser browser(scene.room, notes, "fx", {kEndsByItself, one.script});
    const Context context(scene.library);
    const std::string what = one.what;
    notes.same(what + ": kx_Init()", kAllWell, context.start(browser.launching()));
    const HeldProcess process = browser.process();
    notes.same("kx_Exit()", "0", context.exit(1));
    notes.same("the browser's end, by force", kByForce, process.end());
  }
}

// It was not launched here: it is left as it is.
void exitUnanswered(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {"on exit no-reply"});
  browser.serve();
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  notes.same("kx_Exit()", "0", context.exit(1));
  notes.holds("the browser goes on", browser.started().isRunning(), "yes",
              browser.started().isRunning() ? "yes" : "no");
}

}  // namespace

std::vector<Check> troubleChecks(Scene& scene) {
  const auto in = [&scene](void (*run)(Scene&, CheckNotes&)) {
    return [&scene, run](CheckNotes& notes) { run(scene, notes); };
  };
  return {
      {"late-answer", "an answer that comes after the time-out", in(lateAnswer)},
      {"ended-thread", "a thread that ends while its answer is outstanding", in(endedThread)},
      {"no-connection-back", "a browser that does not connect back", in(noConnectionBack)},
      {"sudden-death", "a browser that dies during a play", in(suddenDeath)},
      {"death-at-start", "a browser that dies at its start", in(deathAtStart)},
      {"exit-by-force", "browsers that do not end when they are asked to", in(exitByForce)},
      {"exit-unanswered", "a browser of somebody else's that does not answer the exit", in(exitUnanswered)},
  };
}

}  // namespace kx::cli
