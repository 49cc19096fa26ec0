// Every request that a host can cause is read back as what the host gave: by our parser, by the simulator
// and, where the texts allow it, by another JSON library.
#include "browser/browser_instance.h"
#include "fuzz/property.h"
#include "fuzz/support/input.h"
#include "fuzz/support/other_reader.h"
#include "fuzz/support/response_grammar.h"
#include "request.h"
#include "request_scanner.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace kx {

namespace {

class SendingInstance : public BrowserInstance {
 public:
  SendingInstance() : BrowserInstance(kFirefox) {}
  bool connect(int) override { return false; }
  bool sendCommand(const json::Object& request, int) override {
    sent = requestText(request);
    return true;
  }

  std::string sent;
};

bool hasControlCharacter(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

// The writer escapes these; the other control characters it writes as they are.
bool hasRawControlCharacter(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 &&
           std::string_view("\b\t\n\f\r").find(c) == std::string_view::npos;
  });
}

// What a host asks for, and at the same time what the other side should understand.
struct Wanted {
  std::string type;
  std::string source;
  std::map<std::string, std::string> variables;
  bool useProfiler = false;
  std::string message;
  std::string path;
  std::string captureType;
  bool openNewBrowser = false;
  bool launched = false;

  // Names are written as they are. With these in them a request is no JSON.
  bool hasOddName() const {
    return std::any_of(variables.begin(), variables.end(), [](const auto& variable) {
      return hasControlCharacter(variable.first) || variable.first.find_first_of("\"\\") != std::string::npos;
    });
  }
};

Wanted sendWhatIsWanted(FuzzInput& input, SendingInstance& instance) {
  Wanted wanted;
  const unsigned kind = input.takeByte();
  const unsigned flags = input.takeByte();
  switch (kind % 5) {
    case 0:
      wanted.type = "play";
      wanted.source = input.takeText();
      wanted.useProfiler = flags % 2 != 0;
      while (!input.isEmpty()) {
        const std::string name = input.takeText();
        const std::string value = input.takeText();
        instance.setVariable(name, value);
        wanted.variables[name] = value;
      }
      instance.setUseProfiler(wanted.useProfiler);
      instance.play(wanted.source, 0);
      break;
    case 1:
      wanted.type = "show";
      wanted.message = input.takeText();
      instance.display(wanted.message, 0);
      break;
    case 2:
      wanted.type = "capture";
      wanted.path = input.takeText();
      wanted.captureType = flags == 1 ? "webpage" : "browser";
      instance.capture(wanted.path, static_cast<int>(flags), 0);
      break;
    case 3:
      wanted.type = "init";
      wanted.openNewBrowser = flags % 2 != 0;
      wanted.launched = flags / 2 % 2 != 0;
      instance.initialise(wanted.openNewBrowser, wanted.launched, 0);
      break;
    default:
      wanted.type = "exit";
      instance.sendCommand(exitRequest(), 0);
      break;
  }
  return wanted;
}

void checkOurParser(const std::string& text, const Wanted& wanted) {
  const OtherJson request = readByOurs(text);
  const OtherJson& arguments = request.at("args");
  FUZZ_PROPERTY(request.at("type") == wanted.type, "our parser reads the type");
  if (wanted.type == "play") {
    FUZZ_PROPERTY(arguments.at("source") == wanted.source, "our parser reads the macro");
    OtherJson variables = OtherJson::object();
    for (const auto& [name, value] : wanted.variables) {
      variables.emplace(name, value);
    }
    FUZZ_PROPERTY(arguments.at("vars") == variables, "our parser reads the variables in their order");
  }
  FUZZ_PROPERTY(wanted.type != "show" || arguments.at("message") == wanted.message,
                "our parser reads the message");
  FUZZ_PROPERTY(wanted.type != "capture" || arguments.at("path") == wanted.path, "our parser reads the path");
}

void checkSimulator(const std::string& text, const Wanted& wanted, unsigned seed) {
  kxsim::RequestScanner scanner;
  std::size_t requests = 0;
  for (const std::string_view piece : piecesOf(text, seed)) {
    scanner.feed(piece);
    while (const auto request = scanner.next()) {
      FUZZ_PROPERTY(request->bytes == text && !request->torn, "the simulator finds the request whole");
      ++requests;
    }
  }
  FUZZ_PROPERTY(requests == 1 && scanner.pending().empty(), "the simulator finds one request");

  const kxsim::Request request = kxsim::readRequest(text);
  FUZZ_PROPERTY(request.type == wanted.type, "the simulator reads the type");
  FUZZ_PROPERTY(request.source == wanted.source, "the simulator reads the macro");
  FUZZ_PROPERTY(request.useProfiler == wanted.useProfiler, "the simulator reads the profiler's flag");
  FUZZ_PROPERTY(request.message == wanted.message, "the simulator reads the message");
  FUZZ_PROPERTY(request.path == wanted.path, "the simulator reads the path");
  FUZZ_PROPERTY(request.openNewBrowser == wanted.openNewBrowser && request.launched == wanted.launched,
                "the simulator reads the flags of the start");
  FUZZ_PROPERTY(wanted.type != "capture" || request.captureType == wanted.captureType,
                "the simulator reads the kind of picture");
  FUZZ_PROPERTY(std::equal(request.variables.begin(), request.variables.end(), wanted.variables.begin(),
                           wanted.variables.end(),
                           [](const auto& one, const auto& other) {
                             return one.first == other.first && one.second == other.second;
                           }),
                "the simulator reads the variables in their order");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned seed = input.takeByte();
  SendingInstance instance;
  const Wanted wanted = sendWhatIsWanted(input, instance);
  const std::string& text = instance.sent;

  FUZZ_PROPERTY(!text.empty() && text.front() == '{' && text.back() == '}', "a request is a bare object");
  if (wanted.hasOddName()) {
    return 0;
  }
  checkOurParser(text, wanted);
  checkSimulator(text, wanted, seed);
  // Line feeds are the layout's.
  std::string onOneLine = text;
  std::replace(onOneLine.begin(), onOneLine.end(), '\n', ' ');
  if (!hasRawControlCharacter(onOneLine)) {
    FUZZ_PROPERTY((verdictByGrammar(text) == Verdict{text.size(), true}), "the grammar knows the request");
    const OtherReading other = readByOther(text);
    FUZZ_PROPERTY(other.value || other.mayBeRefused, "another library reads every request of proper texts");
    FUZZ_PROPERTY(!other.value || readByOurs(text) == *other.value, "and reads the same");
  }
  return 0;
}

}  // namespace kx
