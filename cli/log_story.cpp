#include "cli/log_story.h"

#include "cli/text.h"
#include "common/strings.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace kx::cli {
namespace {

using Kind = LogStep::Kind;

// How the entries of a conversation begin, and what they are a step of. {} in the text is what follows.
struct Beginning {
  std::string_view message;
  Kind kind;
  std::string_view text;
};

constexpr std::array kBeginnings = {
    Beginning{"kx_Init start, ", Kind::Start, "kx_Init: {}"},
    Beginning{"Could not open pipe ", Kind::Attempt, "nobody there: {}"},
    Beginning{"Client: connect failed but lock present", Kind::Attempt,
              "a running Firefox holds the profile: nothing is launched"},
    Beginning{"Starting binary ", Kind::Launch, "{}"},
    Beginning{"Client: creating  communication pipe ", Kind::Connection,
              "the extension's pipe is open; own pipe {}"},
    Beginning{"Client: waiting for server connection", Kind::Connection,
              "waiting for the extension to connect back"},
    Beginning{"Waiting for browser process (", Kind::End, "waiting for the end of process ({}"},
};

// Said by the step before or after them.
constexpr std::array<std::string_view, 3> kSilent = {"Client: connecting to server using pipe ",
                                                     "Sending connection data [", "Client: Message sent, "};

constexpr std::string_view kRequest = "Client: sending message to server [";
constexpr std::string_view kRequestEnd = "], msg len=";
constexpr std::string_view kRead = "Client: Read ";
constexpr std::string_view kHandling = "Client: handling response";

std::string typeOf(std::string_view request) {
  constexpr std::string_view kType = "\"type\" : \"";
  const std::size_t found = request.find(kType);
  if (found == std::string_view::npos) {
    return "rest of the request";
  }
  const std::size_t begin = found + kType.size();
  return std::string(request.substr(begin, request.find('"', begin) - begin));
}

LogStep requestStep(const LogEntry& entry) {
  const std::string_view message = entry.message;
  const std::size_t end = std::min(message.rfind(kRequestEnd), message.size());
  const std::string_view body = message.substr(kRequest.size(), end - std::min(end, kRequest.size()));
  const std::string_view length = message.substr(std::min(end + kRequestEnd.size(), message.size()));
  LogStep step{Kind::Request, entry.line,
               typeOf(body) + ", " + std::string(length.empty() ? "?" : length) + " bytes"};
  step.request = std::string(body);
  return step;
}

bool isSame(const LogStep& one, const LogStep& other) {
  return one.kind == other.kind && one.kind != Kind::Request && one.text == other.text &&
         one.row == other.row;
}

// Attempts come in twos and threes with what they log besides; those before them are looked at, too.
LogStep& append(std::vector<LogStep>& steps, LogStep step) {
  constexpr std::size_t kLookBack = 3;
  const std::size_t first = steps.size() - std::min(steps.size(), kLookBack);
  for (std::size_t i = first; i < steps.size(); ++i) {
    if (isSame(steps[i], step)) {
      ++steps[i].count;
      return steps[i];
    }
  }
  steps.push_back(std::move(step));
  return steps.back();
}

LogStep* openRequest(std::vector<LogStep>& steps) {
  const auto found = std::find_if(steps.rbegin(), steps.rend(),
                                  [](const LogStep& step) { return step.kind == Kind::Request; });
  return found != steps.rend() && !found->isAnswered ? &*found : nullptr;
}

constexpr std::string_view kChunk = "responce chunk '";

// "\Users\" or the like: what stands behind it begins with a user's name. 0 when none begins there.
std::size_t lengthOfUsersFolder(std::string_view text) {
  constexpr std::string_view kSlashes = "\\/";
  const std::size_t end = kSlashes.find(text[0]) == std::string_view::npos ? std::string_view::npos
                                                                           : text.find_first_of(kSlashes, 1);
  if (end == std::string_view::npos) {
    return 0;
  }
  const std::string_view name = text.substr(1, end - 1);
  const bool isUsers =
      equalsIgnoringCase(name, "users") || equalsIgnoringCase(name, "documents and settings");
  return isUsers ? std::min(text.find_first_not_of(kSlashes, end), text.size()) : 0;
}

// ", error = 2" and its like at the end of an entry; 0 when there is none.
std::size_t lengthOfErrorNumber(std::string_view text) {
  constexpr std::string_view kWords = ", error";
  const std::size_t begin = text.rfind(kWords);
  const bool isNumber =
      begin != std::string_view::npos &&
      text.find_first_not_of(" =(-0123456789)", begin + kWords.size()) == std::string_view::npos;
  return isNumber ? text.size() - begin : 0;
}

// "67e92c8765a9bc7fb2d335c459de9eb5.runner": a digest stands for the profile, and no user is named.
std::size_t lengthOfRunnersName(std::string_view text) {
  constexpr std::size_t kDigest = 32;
  constexpr std::string_view kRunner = ".runner";
  const bool isRunner =
      text.find_first_not_of("0123456789abcdef") == kDigest && text.substr(kDigest).starts_with(kRunner);
  return isRunner ? kDigest + kRunner.size() : 0;
}

// "cli-PROFILE.THREAD.PROCESS", a pipe that the library itself serves.
bool isOwnPipe(std::string_view name) {
  const std::size_t process = name.rfind('.');
  const std::size_t thread = process == std::string_view::npos ? process : name.rfind('.', process - 1);
  return name.starts_with("cli-") && thread != std::string_view::npos &&
         name.find_first_not_of("-.0123456789", thread) == std::string_view::npos;
}

}  // namespace

const LogStep* LogStory::add(const LogEntry& entry) {
  Conversation& conversation = conversationOf(entry.ids);
  switch (entry.kind) {
    case LogEntry::Kind::Error: {
      LogStep step{Kind::Error, entry.line, entry.message};
      step.row = Catalogue::builtIn().findLogEntry(entry.message);
      step.kind = step.row != nullptr && step.row->kind == ErrorKind::Note ? Kind::Note : Kind::Error;
      return &append(conversation.steps, std::move(step));
    }
    case LogEntry::Kind::Information:
      return addInformation(conversation, entry);
    case LogEntry::Kind::Text:
      break;
  }
  return &append(conversation.steps, {Kind::Other, entry.line, entry.message});
}

const LogStep* LogStory::addInformation(Conversation& conversation, const LogEntry& entry) {
  const std::string_view message = entry.message;
  std::vector<LogStep>& steps = conversation.steps;
  const auto beginsWith = [&](std::string_view beginning) { return message.starts_with(beginning); };
  if (beginsWith(kRequest)) {
    steps.push_back(requestStep(entry));
    return &steps.back();
  }
  if (beginsWith(kRead)) {
    LogStep* const request = openRequest(steps);
    const int count = std::atoi(entry.message.c_str() + kRead.size());
    if (request != nullptr && count > 0) {
      request->answerBytes += static_cast<std::size_t>(count);
      ++request->answerPieces;
    }
    return nullptr;
  }
  if (beginsWith(kHandling)) {
    LogStep* const request = openRequest(steps);
    if (request != nullptr) {
      request->isAnswered = true;
    }
    return request;
  }
  if (std::any_of(kSilent.begin(), kSilent.end(), beginsWith)) {
    return nullptr;
  }
  for (const Beginning& one : kBeginnings) {
    if (beginsWith(one.message)) {
      return &append(steps, {one.kind, entry.line,
                             replacedAll(std::string(one.text), "{}", message.substr(one.message.size()))});
    }
  }
  return &append(steps, {Kind::Other, entry.line, entry.message});
}

Conversation& LogStory::conversationOf(const std::optional<LogIds>& ids) {
  const auto found = std::find_if(conversations_.begin(), conversations_.end(),
                                  [&](const Conversation& one) { return one.ids == ids; });
  if (found != conversations_.end()) {
    return *found;
  }
  return conversations_.emplace_back(Conversation{ids, {}});
}

std::size_t LogStory::count(Kind kind) const {
  std::size_t count = 0;
  for (const Conversation& conversation : conversations_) {
    for (const LogStep& step : conversation.steps) {
      count += step.kind == kind ? step.count : 0;
    }
  }
  return count;
}

std::size_t LogStory::answered() const {
  std::size_t count = 0;
  for (const Conversation& conversation : conversations_) {
    count += static_cast<std::size_t>(std::count_if(conversation.steps.begin(), conversation.steps.end(),
                                                    [](const LogStep& step) { return step.isAnswered; }));
  }
  return count;
}

const char* nameOf(Kind kind) {
  constexpr std::array names = {"start", "attempt", "launch", "connection", "request",
                                "end",   "ERROR",   "note",   "other"};
  return names.at(static_cast<std::size_t>(kind));
}

std::string textOf(const LogStep& step) {
  std::string text = onOneLine(step.text);
  if (step.kind == Kind::Request) {
    text += step.isAnswered ? "; answer of " + std::to_string(step.answerBytes) + " bytes in " +
                                  counted(step.answerPieces, "piece")
                            : "; no answer";
  }
  return text + (step.count > 1 ? " (" + std::to_string(step.count) + " times)" : "");
}

std::string redacted(const std::string& text) {
  std::size_t end = text.size() - lengthOfErrorNumber(text);
  std::string tail = text.substr(end);
  std::string result;
  for (std::size_t i = 0; i < end;) {
    const std::string_view rest = std::string_view(text).substr(i, end - i);
    if (rest.starts_with(kChunk)) {
      // The bytes may hold apostrophes, and anything else.
      return result.append(kChunk).append(kRemoved);
    }
    if (const std::size_t folder = lengthOfUsersFolder(rest); folder > 0) {
      result.append(rest.substr(0, folder)).append(kRemoved);
      i += std::min(rest.find_first_of("\\/", folder), rest.size());
      continue;
    }
    if (!rest.starts_with("kx-fx-") && !rest.starts_with("kx-cr-")) {
      result += text[i++];
      continue;
    }
    constexpr std::size_t kPrefix = 6;
    const std::string_view name = rest.substr(kPrefix);
    const std::size_t runner = lengthOfRunnersName(name);
    result.append(rest.substr(0, kPrefix + runner));
    i += kPrefix + runner;
    // PROFILE.USER: both may hold blanks and commas. Therefore everything behind the first dot goes.
    const std::size_t dot = runner > 0 || isOwnPipe(name) ? std::string_view::npos : name.find('.');
    if (dot != std::string_view::npos) {
      end = i + dot;
      tail.insert(0, kRemoved).insert(0, ".");
    }
  }
  return result + tail;
}

}  // namespace kx::cli
