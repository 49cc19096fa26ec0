#include "win32/action_runner.h"

#include "escapes.h"
#include "win32/windows_text.h"
#include "words.h"

namespace kxsim {
namespace {

constexpr DWORD kHoldStepMilliseconds = 20;

std::size_t sizeOf(const Action& action, std::size_t index = 0) {
  return static_cast<std::size_t>(action.numbers.at(index));
}

std::string nestedArrays(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

}  // namespace

ActionRunner::Next ActionRunner::run(const std::vector<Moment>& moments, const ActionPlace& place) {
  place_ = &place;
  for (const Action* action : simulator_.script.actionsFor(moments)) {
    if (runAction(*action, place) == Next::kHangUp) {
      return Next::kHangUp;
    }
  }
  return Next::kGoOn;
}

ActionRunner::Next ActionRunner::runAction(const Action& action, const ActionPlace& place) {
  switch (action.kind) {
    case ActionKind::kDelay:
      pause(action.numbers.front());
      return Next::kGoOn;
    case ActionKind::kWaitEvent:
      return waitForEvent(resolved(action.text));
    case ActionKind::kSetEvent:
      SetEvent(simulator_.namedEvent(resolved(action.text)));
      return Next::kGoOn;
    case ActionKind::kLog:
      simulator_.recorder.event("log " + escapeForLog(resolvedBytes(action.text)));
      return Next::kGoOn;
    case ActionKind::kDie:
      simulator_.end(action.numbers.front(), "die");
    case ActionKind::kStay:
      simulator_.stays = true;
      return Next::kGoOn;
    case ActionKind::kExitCode:
      simulator_.exitCode = action.numbers.front();
      return Next::kGoOn;
    case ActionKind::kLock:
      simulator_.lockFile(resolved(action.text));
      return Next::kGoOn;
    case ActionKind::kLockProfile:
      simulator_.lockProfile();
      return Next::kGoOn;
    case ActionKind::kUnlock:
      simulator_.unlockFiles();
      return Next::kGoOn;
    default:
      break;
  }
  const Next next = runPipeAction(action, place);
  if (place.delivery != nullptr) {
    runReplyAction(action, *place.delivery);
    runBytesAction(action, *place.delivery);
  }
  return next;
}

ActionRunner::Next ActionRunner::runPipeAction(const Action& action, const ActionPlace& place) {
  switch (action.kind) {
    case ActionKind::kHold:
      hold(place.pipe);
      return Next::kHangUp;
    case ActionKind::kHangUp:
      return Next::kHangUp;
    case ActionKind::kRead:
      return readPart(sizeOf(action), place);
    case ActionKind::kSend:
      if (place.delivery == nullptr) {
        return Next::kGoOn;
      }
      return action.numbers.empty() ? sendRest(place)
                                    : sendPiece(place.delivery->take(sizeOf(action)), place);
    case ActionKind::kCut:
      if (place.delivery != nullptr) {
        sendPiece(place.delivery->take(sizeOf(action)), place);
      }
      return Next::kHangUp;
    default:
      return Next::kGoOn;
  }
}

void ActionRunner::runReplyAction(const Action& action, Delivery& delivery) {
  Reply& reply = delivery.reply;
  switch (action.kind) {
    case ActionKind::kResult:
      reply.setResult(action.numbers.front(), resolvedBytes(action.text));
      break;
    case ActionKind::kStatus:
      reply.setStatus(resolvedBytes(action.text));
      break;
    case ActionKind::kErrorCode:
      reply.setErrorCode(action.numbers.front());
      break;
    case ActionKind::kExtract:
      reply.addExtract(resolvedBytes(action.text));
      break;
    case ActionKind::kExtractFill:
      reply.addExtract(generatedText(sizeOf(action)));
      break;
    case ActionKind::kExtractTable:
      for (std::size_t i = 0; i < sizeOf(action); ++i) {
        reply.addExtract(generatedText(sizeOf(action, 1)));
      }
      break;
    case ActionKind::kPerformance:
      reply.addPerformance(resolvedBytes(action.word), resolvedBytes(action.text));
      break;
    case ActionKind::kProfiler:
      reply.addProfilerLine(resolvedBytes(action.text));
      break;
    case ActionKind::kMember:
      reply.setMember(action.word, resolvedBytes(action.text));
      break;
    case ActionKind::kDrop:
      reply.dropMember(action.word);
      break;
    case ActionKind::kNesting:
      reply.setMember("nested", nestedArrays(sizeOf(action)));
      break;
    case ActionKind::kWaitForPid:
      setWaitForPid(resolved(action.word), reply);
      break;
    default:
      break;
  }
}

void ActionRunner::runBytesAction(const Action& action, Delivery& delivery) {
  switch (action.kind) {
    case ActionKind::kReply:
      delivery.raw = resolvedBytes(action.text);
      break;
    case ActionKind::kReplyFile:
      delivery.raw = readWholeFile(resolved(action.text));
      if (!delivery.raw) {
        simulator_.end(kExitBadScript, "reply-file cannot be read: " + escapeForLog(resolved(action.text)));
      }
      break;
    case ActionKind::kReplySize:
      delivery.sizeInBytes = sizeOf(action);
      break;
    case ActionKind::kPrepend:
      delivery.prefix += resolvedBytes(action.text);
      break;
    case ActionKind::kAppend:
      delivery.suffix += resolvedBytes(action.text);
      break;
    case ActionKind::kTwice:
      delivery.twice = true;
      break;
    case ActionKind::kTruncate:
      delivery.truncatedTo = sizeOf(action);
      break;
    case ActionKind::kPieces:
      delivery.pieceSizes.assign(action.numbers.begin(), action.numbers.end());
      break;
    case ActionKind::kChunk:
      delivery.chunkSize = sizeOf(action);
      break;
    case ActionKind::kBetween:
      delivery.millisecondsBetweenPieces = action.numbers.front();
      break;
    case ActionKind::kNoReply:
      delivery.suppressed = true;
      break;
    default:
      break;
  }
}

void ActionRunner::setWaitForPid(const std::string& word, Reply& reply) {
  if (word == "none") {
    reply.dropMember("waitForProcessId");
  } else if (word == "self") {
    reply.setWaitForProcessId(GetCurrentProcessId());
  } else {
    // Any JSON text is allowed, so that a script can send numbers that are no process ids, and texts.
    reply.setMember("waitForProcessId", word);
  }
}

void ActionRunner::pause(long long milliseconds) {
  Sleep(static_cast<DWORD>(milliseconds));
  simulator_.recorder.touch();
}

ActionRunner::Next ActionRunner::waitForEvent(const std::string& name) {
  simulator_.recorder.event("waiting event=" + escapeForLog(name));
  WaitForSingleObject(simulator_.namedEvent(name), INFINITE);
  simulator_.recorder.event("waited event=" + escapeForLog(name));
  return Next::kGoOn;
}

// Nothing is read or written any more until the other end goes away. Where there is no pipe this never ends;
// the idle limit does.
void ActionRunner::hold(PipeEnd* pipe) {
  simulator_.recorder.event("hold");
  std::string waiting;
  while (pipe == nullptr || pipe->peek(waiting) == PipeEnd::Outcome::kDone) {
    Sleep(kHoldStepMilliseconds);
  }
}

ActionRunner::Next ActionRunner::readPart(std::size_t bytes, const ActionPlace& place) {
  while (place.scanner != nullptr && bytes > 0) {
    std::string piece;
    if (place.pipe->read(piece, bytes) != PipeEnd::Outcome::kDone) {
      return Next::kHangUp;
    }
    bytes -= piece.size();
    place.scanner->feed(piece);
  }
  return Next::kGoOn;
}

ActionRunner::Next ActionRunner::sendPiece(std::string_view piece, const ActionPlace& place) {
  if (!place.pipe->write(piece)) {
    return Next::kHangUp;
  }
  place.pipe->flush();
  return Next::kGoOn;
}

ActionRunner::Next ActionRunner::sendRest(const ActionPlace& place) {
  Delivery& delivery = *place.delivery;
  if (delivery.suppressed) {
    return Next::kGoOn;
  }
  const std::vector<std::string_view> pieces = delivery.takeRest();
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (!place.pipe->write(pieces[i])) {
      return Next::kHangUp;
    }
    // Without the flush the reader might find several pieces in one read. The last one needs none, and a
    // reader that never takes it must not hold up the next request.
    if (i + 1 < pieces.size()) {
      place.pipe->flush();
      if (delivery.millisecondsBetweenPieces > 0) {
        pause(delivery.millisecondsBetweenPieces);
      }
    }
  }
  return Next::kGoOn;
}

std::string ActionRunner::resolved(const std::string& text) const {
  return substitute(text, [this](const std::string& name) { return lookUp(name); }).text;
}

std::string ActionRunner::resolvedBytes(const std::string& text) const {
  // Escapes first: what is substituted comes from outside and is taken as it is.
  return substitute(unescapeBytes(text), [this](const std::string& name) { return lookUp(name); }).text;
}

std::optional<std::string> ActionRunner::lookUp(const std::string& name) const {
  static constexpr std::string_view kEnvironment = "env.";
  if (name == "pid") {
    return std::to_string(GetCurrentProcessId());
  }
  if (name == "conn") {
    return std::to_string(place_->connection);
  }
  if (name == "n") {
    return std::to_string(place_->requestNumber);
  }
  if (name == "type") {
    return place_->request != nullptr ? place_->request->type : std::string();
  }
  if (name == "pipe") {
    return simulator_.choice.pipe;
  }
  if (name == "profile") {
    return simulator_.choice.profile;
  }
  if (name.compare(0, kEnvironment.size(), kEnvironment) == 0) {
    return environmentVariable(name.substr(kEnvironment.size())).value_or("");
  }
  return std::nullopt;
}

}  // namespace kxsim
