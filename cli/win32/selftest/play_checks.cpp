#include "cli/text.h"
#include "cli/win32/selftest/all_checks.h"

namespace kx::cli {
namespace {

constexpr std::size_t kMegabytes16 = std::size_t{16} * 1024 * 1024;

std::string requestText(const std::string& type, const std::string& arguments) {
  return "{\n \"type\" : \"" + type + "\",\n \"args\" : " + arguments + "\n}";
}

std::string doubled(const std::string& path) {
  return replacedAll(path, "\\", "\\\\");
}

void commands(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {kEndsByItself});
  browser.serve();
  const Context context(scene.library);
  StartCall call = browser.attaching();
  call.options += " -profiler";
  Library& library = scene.library;
  const int number = context.number();

  notes.same("kx_Init()", kAllWell, context.start(call));
  notes.same("kx_SetVar()", "0", std::to_string(library.setVariable(number, "city", "Oslo")));
  notes.same("kx_SetVar() of another one", "0", std::to_string(library.setVariable(number, "Nr", "7")));
  notes.same("kx_SetVar() of the first one again", "0",
             std::to_string(library.setVariable(number, "city", "Troms\xC3\xB8 \"N\"")));
  notes.same("kx_Play()", kAllWell,
             context.play("extract $(city)\nextract\nextract $(Nr)\nperformance load 0.25\nprofile p1"));
  notes.sameBytes("its request",
                  playRequest(R"(extract $(city)\nextract\nextract $(Nr)\nperformance load 0.25\nprofile p1)",
                              "{\n   \"Nr\" : \"7\",\n   \"city\" : \"Troms\xC3\xB8 \\\"N\\\"\"\n  }", true),
                  browser.recorded("request-1-2.bin"));
  notes.same("kx_GetLastExtract()", "Troms\xC3\xB8 \"N\" |  | 7", context.extracts());
  std::string performance;
  for (const PerformanceValue& one : library.performance(number)) {
    performance += one.name + " = " + one.value;
  }
  notes.same("kx_GetLastPerformance()", "load = 0.25", performance);
  const std::string profilerData = library.profilerData(number);
  notes.holds("kx_GetPerformance()", profilerData.find("p1") != std::string::npos, "a text with p1 in it",
              profilerData);
  notes.same("a play forgets what the one before left", "0, number 1, OK: ", context.playAndExtract("stop"));
  notes.sameBytes("its request, without variables", playRequest("stop", "{}", true),
                  browser.recorded("request-1-3.bin"));
  notes.same("kx_Display()", kAllWell, context.display("Done: \xE2\x9C\x93"));
  notes.sameBytes("its request", showRequest("Done: \xE2\x9C\x93"), browser.recorded("request-1-4.bin"));
  const std::string picture = scene.room.path("picture.png");
  notes.same("kx_TakeBrowserScreenshot(), of the browser", kAllWell, context.takeScreenshot(picture, 0));
  notes.sameBytes("its request", captureRequest(doubled(picture), "browser"),
                  browser.recorded("request-1-5.bin"));
  notes.same("kx_TakeBrowserScreenshot(), of the page", kAllWell, context.takeScreenshot(picture, 1));
  notes.sameBytes("its request", captureRequest(doubled(picture), "webpage"),
                  browser.recorded("request-1-6.bin"));
  notes.holds("the picture", bytesOf(picture).value_or("").starts_with("\x89PNG"), "a PNG file",
              bytesOf(picture) ? counted(bytesOf(picture)->size(), "byte") : "not there");
  notes.same("kx_Exit()", "0", context.exit());
  notes.sameBytes("its request", exitRequest(), browser.recorded("request-1-7.bin"));
  notes.same("the browser's end, by itself", kByItself, browser.started().end());
}

void failingMacro(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {kEndsByItself});
  browser.serve();
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  notes.same("kx_Play() of a macro that fails", "-1, number -50, There is no such button",
             context.play("extract before\nfail -50 There is no such button"));
  notes.same("what it extracted before", "before", context.extracts());
  notes.same("a positive number of the extension's", "-1, number -7, seven", context.play("fail 7 seven"));
  notes.same("kx_Play() of the next macro", kAllWell, context.play("stop"));
  notes.same("kx_Play() without a context", "-5", std::to_string(scene.library.play(1000000, "stop", 1)));
  notes.same("kx_Exit()", "0", context.exit());
}

void sixteenMegabytes(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx");
  browser.serve();
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  notes.same("kx_Play() that extracts 16 MB", kAllWell, context.play("fill " + std::to_string(kMegabytes16)));
  std::string expected(kMegabytes16, '\0');
  for (std::size_t i = 0; i < expected.size(); ++i) {
    expected[i] = static_cast<char>('a' + i % 26);
  }
  const std::vector<std::string> extracts = scene.library.extracts(context.number());
  notes.sameBytes("the extract", expected, extracts.empty() ? std::string() : extracts.front());
  notes.same("kx_Exit()", "0", context.exit());
}

// What comes in pieces, too often, or is no answer at all. Each case has a browser's connection of its own.
void brokenAnswers(Scene& scene, CheckNotes& notes) {
  struct Case {
    const char* what;
    const char* script;
    const char* first;
    const char* second;
  };
  const Case cases[] = {
      {"an answer in single bytes", "on play 1 chunk 1", kAllWell, kAllWell},
      {"bytes that are not JSON", "on play 1 reply \\x00\\xff{{",
       "-1, number -1, Error in response processing", kAllWell},
      {"an answer without a number", "on play 1 drop errorCode", "-1, number 0, OK", kAllWell},
      {"half an answer, and the end", "on play 1 cut 10",
       "-1, number -1, Server unexpectedly closed connection", "-1, number -1, Error while sending request"},
  };
  for (const Case& one : cases) {
    Browser browser(scene.room, notes, "fx", {one.script});
    browser.serve();
    const Context context(scene.library);
    const std::string what = one.what;
    notes.same(what + ": kx_Init()", kAllWell, context.start(browser.attaching()));
    notes.same(what, one.first, context.play("stop"));
    notes.same("the play after it", one.second, context.play("stop"));
    notes.same("kx_Exit()", "0", context.exit());
  }
}

}  // namespace

std::string initRequest(bool isLaunched) {
  return requestText("init", std::string("{\n  \"openNewBrowser\" : false,\n  \"launched\" : ") +
                                 (isLaunched ? "true" : "false") + "\n }");
}

std::string playRequest(const std::string& source, const std::string& variables, bool isProfiled) {
  return requestText("play", "{\n  \"source\" : \"" + source + "\",\n  \"vars\" : " + variables +
                                 (isProfiled ? ",\n  \"use_profiler\" : true" : "") + "\n }");
}

std::string showRequest(const std::string& message) {
  return requestText("show", "{\n  \"message\" : \"" + message + "\"\n }");
}

std::string captureRequest(const std::string& path, const std::string& type) {
  return requestText("capture", "{\n  \"path\" : \"" + path + "\",\n  \"type\" : \"" + type + "\"\n }");
}

std::string exitRequest() {
  return requestText("exit", "{}");
}

std::vector<Check> playChecks(Scene& scene) {
  const auto in = [&scene](void (*run)(Scene&, CheckNotes&)) {
    return [&scene, run](CheckNotes& notes) { run(scene, notes); };
  };
  return {
      {"commands", "every command, and its bytes on the pipe", in(commands)},
      {"failing-macro", "macros that fail", in(failingMacro)},
      {"16-megabytes", "an answer of 16 MB", in(sixteenMegabytes)},
      {"broken-answers", "answers that are not what they should be", in(brokenAnswers)},
  };
}

}  // namespace kx::cli
