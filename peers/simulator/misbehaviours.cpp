#include "misbehaviours.h"

#include "script.h"
#include "words.h"

#include <algorithm>
#include <array>

namespace kxsim {
namespace {

constexpr auto kMisbehaviours = std::to_array<Misbehaviour>({
    // At the start.
    {"never-serves", "starts and never serves its pipe", "serve-never\n"},
    {"late-pipe", "serves its pipe three seconds after its start", "on serve delay 3000\n"},
    {"busy-pipe", "serves its pipe, which is busy for the first three seconds", "on busy delay 3000\n"},
    {"death-at-start", "ends with code 3 at its start", "on start die 3\n"},
    {"launcher-process",
     "starts a second process, which is the browser, and ends, as Firefox does on Windows",
     "launcher-process\n"},
    {"locked-profile", "holds its Firefox profile, which profiles.ini has to know",
     "on start lock-profile\n"},
    // At the connection.
    {"one-host", "serves its first host and no other one", "connections 1\n"},
    {"no-handshake", "closes its pipe without reading the host's name line", "on connect hang-up\n"},
    {"no-connection-back", "reads the name line and never connects back", "on handshake hold\n"},
    {"late-connection-back", "connects back after three seconds", "on handshake delay 3000\n"},
    {"leaves-at-once", "connects back and closes the connection at once", "on connected hang-up\n"},
    // In a play.
    {"reads-no-play", "does not read what follows the first request", "on before-request 2 hold\n"},
    {"late-answer", "answers a play after three seconds", "on play delay 3000\n"},
    {"no-answer", "never answers a play, and goes on reading", "on play no-reply\n"},
    {"stuck", "neither answers a play nor reads any more", "on play hold\n"},
    {"hang-up", "closes the connection in place of an answer to a play", "on play hang-up\n"},
    {"hang-up-afterwards", "answers a play and closes the connection", "on play send\non play hang-up\n"},
    {"sudden-death", "ends with code 3 during a play", "on play die 3\n"},
    {"half-answer", "breaks off in the middle of the answer to a play", "on play cut 10\n"},
    {"halting-answer", "stops for three seconds in the middle of the answer to a play",
     "on play send 10\non play delay 3000\n"},
    {"single-bytes", "sends the answer to a play byte by byte", "on play chunk 1\n"},
    {"two-answers", "sends the answer to a play twice", "on play twice\n"},
    {"answer-and-more", "sends the beginning of another answer behind that to a play",
     "on play append {\"status\":\n"},
    {"garbage", "answers a play with bytes that are not JSON", "on play reply \\x00\\xff{{\n"},
    {"deep-answer", "answers a play with 30 arrays inside each other", "on play nesting 30\n"},
    {"no-number", "answers a play without an error number", "on play drop errorCode\n"},
    {"failing-macros", "lets each macro fail with error number -50",
     "on play result -50 The page has no such button\n"},
    {"not-utf-8", "extracts a text that is not UTF-8", "on play extract \\xff\\xfe\n"},
    {"huge-answer", "extracts 16 MB in each play", "on play extract-fill 16777216\n"},
    // At the exit.
    {"late-exit", "answers the exit at once and ends three seconds later",
     "on exit send\non exit delay 3000\n"},
    {"stays", "answers the exit and does not end", "on exit stay\n"},
    {"no-exit-answer", "does not answer the exit, and does not end", "on exit no-reply\n"},
    {"names-no-process", "answers the exit without a process to wait for", "on exit wait-for-pid none\n"},
});

}  // namespace

std::span<const Misbehaviour> misbehaviours() {
  return kMisbehaviours;
}

std::string listOfMisbehaviours() {
  std::string list;
  for (const Misbehaviour& one : kMisbehaviours) {
    list.append(one.name).append(": ").append(one.what).append("\n");
    for (std::string_view rest = one.script; !rest.empty();) {
      list.append("    ").append(takeLine(rest)).append("\n");
    }
  }
  return list;
}

std::string scriptOfMisbehaviours(std::string_view names) {
  std::string script;
  while (!names.empty()) {
    const std::string_view name = names.substr(0, names.find(','));
    names.remove_prefix(std::min(name.size() + 1, names.size()));
    const auto found = std::find_if(kMisbehaviours.begin(), kMisbehaviours.end(),
                                    [&](const Misbehaviour& one) { return one.name == name; });
    if (found == kMisbehaviours.end()) {
      throw ScriptError("there is no misbehaviour '" + std::string(name) + "'");
    }
    script += found->script;
  }
  return script;
}

}  // namespace kxsim
