// What a script can make the simulator do wrong, as a host sees it.
#include "tests/win32/host_peer.h"
#include "win32/windows_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>

namespace kxsim {
namespace {

using Json = nlohmann::json;
using Sizes = std::vector<std::size_t>;

// What a play without a macro is answered with.
const std::string kPlainReply = R"({"status":"OK","errorCode":1})";

class Misbehaviour : public testing::Test {
 protected:
  std::string pipe() const { return "\\\\.\\pipe\\kx-fx-default." + simulator_.userName(); }

  std::string event(const std::string& name) const { return simulator_.eventName(name); }

  void script(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      simulator_.script(line);
    }
  }

  // Starts the simulator with these lines in its script and opens the well-known pipe.
  void reach(const std::vector<std::string>& lines) {
    script(lines);
    simulator_.start();
    host_.emplace(pipe());
    ASSERT_TRUE(host_->reached());
  }

  void connect(const std::vector<std::string>& lines) {
    reach(lines);
    ASSERT_TRUE(host_->shakeHands());
  }

  void startWith(const std::vector<std::string>& lines) {
    script(lines);
    simulator_.startOnly();
  }

  Json exchange(const std::string& request = playText("")) { return Json::parse(host_->exchange(request)); }

  DWORD openError() {
    const HostPeer host(pipe());
    return host.reached() ? 0 : GetLastError();
  }

  SimulatorProcess simulator_;
  std::optional<HostPeer> host_;
};

TEST_F(Misbehaviour, ALateReplyWaitsForAnEvent) {
  connect({"on play set-event " + event("asked"), "on play wait-event " + event("go")});
  host_->send(playText(""));
  simulator_.waitFor("asked");
  std::string early;
  EXPECT_EQ(PipeEnd::Outcome::kDone, host_->own().peek(early));
  EXPECT_EQ("", early);

  simulator_.signal("go");

  EXPECT_EQ(kPlainReply, host_->readReply());
}

TEST_F(Misbehaviour, ARuleWithACountAppliesToThatOccurrenceAlone) {
  connect({"on play 2 result -7 second"});

  for (const int expected : {1, -7, 1}) {
    EXPECT_EQ(expected, exchange().at("errorCode"));
  }
}

TEST_F(Misbehaviour, ARepliesBytesAndTheReadsInWhichTheyArriveCanBeChosen) {
  const std::size_t size = kPlainReply.size();
  const struct {
    const char* rule;
    std::vector<std::string> lines;
    std::string bytes;
    Sizes reads;
    bool ends = false;
  } cases[] = {
      {"in two", {"on play 1 split 5"}, kPlainReply, {5, size - 5}},
      {"pieces", {"on play 2 pieces 1 2 3", "on play 2 chunk 10"}, kPlainReply, {1, 2, 3, 10, 10, size - 26}},
      {"single bytes", {"on play 3 chunk 1"}, kPlainReply, Sizes(size, 1)},
      {"raw bytes", {"on play 4 reply \\x00\\xff{\\\"\\n"}, std::string("\0\xff{\\\"\n", 6), {6}},
      {"two at once", {"on play 5 twice"}, kPlainReply + kPlainReply, {2 * size}},
      {"around it",
       {"on play 6 prepend \\t ", "on play 6 append {\"x"},
       "\t " + kPlainReply + "{\"x",
       {size + 5}},
      {"a file", {"on play 7 reply-file " + simulator_.path("new reply.txt")}, "{\"errorCode\":5}", {15}},
      {"a reply, then the end", {"on play 8 send", "on play@1 8 hang-up"}, kPlainReply, {size}, true},
      {"a cut one, then the end", {"on play@2 1 cut 7"}, kPlainReply.substr(0, 7), {7}, true},
      {"only the end", {"on play@3 1 hang-up"}, "", {}, true},
  };
  ASSERT_EQ(0U, writeWholeFile(simulator_.path("new reply.txt"), "{\"errorCode\":5}"));
  for (const auto& c : cases) {
    script(c.lines);
  }
  connect({});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rule);
    host_->send(playText(""));
    std::string bytes;
    Sizes reads;
    while (bytes.size() < c.bytes.size()) {
      const std::string read = host_->readOnce();
      ASSERT_FALSE(read.empty());
      bytes += read;
      reads.push_back(read.size());
    }
    EXPECT_EQ(c.bytes, bytes);
    EXPECT_EQ(c.reads, reads);
    if (c.ends) {
      EXPECT_TRUE(host_->ended());
      host_.emplace(pipe());
      ASSERT_TRUE(host_->shakeHands());
    }
  }
}

TEST_F(Misbehaviour, AReplyCanStopHalfWayUntilAnEvent) {
  connect({"on play send 4", "on play set-event " + event("half"), "on play wait-event " + event("go")});
  host_->send(playText(""));
  EXPECT_EQ(kPlainReply.substr(0, 4), host_->readOnce());
  simulator_.waitFor("half");

  simulator_.signal("go");

  EXPECT_EQ(kPlainReply.substr(4), host_->readOnce());
}

TEST_F(Misbehaviour, ARequestLeftUnansweredIsFollowedByTheNext) {
  connect({"on play 1 no-reply", "on play 2 extract second"});
  host_->send(playText("extract one"));

  EXPECT_EQ(Json::array({"second"}), exchange().at("extractData"));
}

TEST_F(Misbehaviour, TheContentOfAReplyCanBeChosen) {
  connect({"on play result -3 slow", "on play extract a\\nb", "on play performance load 5",
           "on play profiler p", "on play member waitForProcessId \"x\"", "on play nesting 3",
           "on play drop status"});

  const Json reply = exchange();

  EXPECT_EQ(
      Json::parse(R"({"errorCode":-3,"extractData":["a\nb"],"lastPerformance":[{"name":"load","value":"5"}],
                            "profilerData":"p\n","waitForProcessId":"x","nested":[[[]]]})"),
      reply);
}

TEST_F(Misbehaviour, AReplyCanBeOfAnExactSizeOrHoldATableOfExtracts) {
  connect({"on play 1 reply-size 100000", "on play 2 extract-table 500 20"});

  EXPECT_EQ(100000U, host_->exchange(playText("")).size());
  const Json reply = exchange();
  EXPECT_EQ(500U, reply.at("extractData").size());
  EXPECT_EQ("abcdefghijklmnopqrst", reply.at("extractData").at(499));
}

// Nobody reads what is written.
void expectBlocked(const PipeEnd& end, const std::string& bytes) {
  OVERLAPPED overlapped{};
  const UniqueHandle written(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  overlapped.hEvent = written.get();
  WriteFile(end.nativeHandle(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
  EXPECT_EQ(static_cast<DWORD>(ERROR_IO_PENDING), GetLastError());
  EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), WaitForSingleObject(written.get(), 100));
  CancelIoEx(end.nativeHandle(), &overlapped);
  DWORD count = 0;
  GetOverlappedResult(end.nativeHandle(), &overlapped, &count, TRUE);
}

TEST_F(Misbehaviour, ARequestThatIsNotReadBlocksTheHostsWrite) {
  connect({"on before-request hold"});

  expectBlocked(host_->own(), playText(std::string(100000, '#')));
}

TEST_F(Misbehaviour, AnUnreadNameLineBlocksTheHostWhenThePipesBufferIsSmall) {
  reach({"server-buffer 1", "on connect hold"});

  expectBlocked(host_->server(), "\\\\.\\pipe\\none\n");
}

TEST_F(Misbehaviour, TheProcessCanDieInTheMiddleOfARequest) {
  connect({"on before-request read 5", "on before-request die 3"});
  host_->send(playText(""));

  EXPECT_TRUE(host_->ended());
  EXPECT_EQ(3U, simulator_.exitCode());
}

TEST_F(Misbehaviour, ABrokenOffRequestIsKeptApartFromTheNext) {
  connect({"on torn set-event " + event("torn")});
  host_->send("{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"half");

  const Json reply = exchange(playText("extract whole"));

  EXPECT_EQ(Json::array({"whole"}), reply.at("extractData"));
  EXPECT_EQ("{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"half",
            simulator_.recorded("torn-1-1.bin"));
  simulator_.waitFor("torn");
}

TEST_F(Misbehaviour, TheSimulatorCanFailToConnectBack) {
  reach({"on handshake hang-up", "on gone set-event " + event("gone")});
  host_->sendNameLine();
  simulator_.waitFor("gone");

  EXPECT_EQ(host_->ownName() + "\n", simulator_.recorded("name-line-1.bin"));
  EXPECT_FALSE(simulator_.eventLogHas("conn=1 connected"));
}

TEST_F(Misbehaviour, TheSimulatorCanConnectBackLate) {
  reach({"on handshake set-event " + event("named"), "on handshake wait-event " + event("go")});
  host_->sendNameLine();
  simulator_.waitFor("named");
  EXPECT_FALSE(simulator_.eventLogHas("conn=1 connected"));

  simulator_.signal("go");

  EXPECT_TRUE(host_->accept());
}

TEST_F(Misbehaviour, TheSimulatorCanConnectBackAndLeaveAtOnce) {
  connect({"on connected hang-up"});

  EXPECT_TRUE(host_->ended());
}

TEST_F(Misbehaviour, TheSimulatorCanBeGoneBeforeTheHostWaitsForIt) {
  reach({"early-connect", "on connected hang-up"});
  host_->sendNameLine();

  // The write has only just ended, so by now the simulator has come and left.
  OVERLAPPED overlapped{};
  const UniqueHandle connected(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  overlapped.hEvent = connected.get();
  EXPECT_EQ(0, ConnectNamedPipe(host_->own().nativeHandle(), &overlapped));
  EXPECT_EQ(static_cast<DWORD>(ERROR_NO_DATA), GetLastError());
}

TEST_F(Misbehaviour, TheWellKnownPipeCanBeClosedUnread) {
  reach({"on connect hang-up", "on gone set-event " + event("gone")});

  std::string bytes;
  EXPECT_EQ(PipeEnd::Outcome::kEnded, host_->server().read(bytes, 1));
  simulator_.waitFor("gone");
  EXPECT_EQ("(no file)", simulator_.recorded("name-line-1.bin"));
}

TEST_F(Misbehaviour, TheWellKnownPipeCanComeLate) {
  startWith({"on serve set-event " + event("about"), "on serve wait-event " + event("go")});
  simulator_.waitFor("about");
  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), openError());

  simulator_.signal("go");

  simulator_.waitFor("serving");
  EXPECT_EQ(0U, openError());
}

TEST_F(Misbehaviour, TheWellKnownPipeCanBeBusyForAWhile) {
  startWith({"on busy set-event " + event("busy"), "on busy wait-event " + event("go")});
  simulator_.waitFor("busy");
  EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileW(toWide(pipe()).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                              nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(static_cast<DWORD>(ERROR_PIPE_BUSY), GetLastError());

  simulator_.signal("go");

  simulator_.waitFor("serving");
  host_.emplace(pipe());
  EXPECT_TRUE(host_->shakeHands());
  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));
}

TEST_F(Misbehaviour, TheWellKnownPipeCanBeMissing) {
  startWith({"serve-never", "on start set-event " + event("started")});
  simulator_.waitFor("started");

  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), openError());
  EXPECT_TRUE(simulator_.running());
}

TEST_F(Misbehaviour, TheWellKnownPipeCanGoAfterSomeConnections) {
  connect({"connections 1"});
  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));

  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), openError());
}

TEST_F(Misbehaviour, TheProcessCanDieAtItsStart) {
  startWith({"on start die 17"});

  EXPECT_EQ(17U, simulator_.exitCode());
  EXPECT_TRUE(simulator_.eventLogHas("end code=17 reason=die"));
}

TEST_F(Misbehaviour, TheProcessCanOutliveItsExit) {
  connect({"on exit stay"});

  const Json reply = exchange(requestText("exit"));

  EXPECT_EQ(simulator_.processId(), reply.at("waitForProcessId").get<DWORD>());
  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));
  EXPECT_TRUE(simulator_.running());
}

TEST_F(Misbehaviour, TheEndCanWaitForAnEventAfterExitWasAnswered) {
  connect({"on exit send", "on exit wait-event " + event("go"), "on exit exit-code 9"});
  host_->exchange(requestText("exit"));
  EXPECT_TRUE(simulator_.running());

  simulator_.signal("go");

  EXPECT_EQ(9U, simulator_.exitCode());
}

TEST_F(Misbehaviour, ExitCanGoUnanswered) {
  connect({"on exit no-reply"});
  host_->send(requestText("exit"));

  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));
  EXPECT_TRUE(simulator_.running());
}

TEST_F(Misbehaviour, ExitCanNameAnyProcessOrNone) {
  connect({"on start stay", "on exit 1 wait-for-pid 0", "on exit 2 wait-for-pid -1.5",
           "on exit 3 wait-for-pid none", "on exit 4 wait-for-pid $(pid)"});

  EXPECT_EQ(0, exchange(requestText("exit")).at("waitForProcessId"));
  EXPECT_EQ(-1.5, exchange(requestText("exit")).at("waitForProcessId"));
  EXPECT_FALSE(exchange(requestText("exit")).contains("waitForProcessId"));
  EXPECT_EQ(simulator_.processId(), exchange(requestText("exit")).at("waitForProcessId").get<DWORD>());
}

TEST_F(Misbehaviour, TheFirefoxProfileCanBeHeld) {
  std::filesystem::create_directories(toWide(simulator_.path("Mozilla\\Firefox\\Profiles\\abc")));
  ASSERT_EQ(0U, writeWholeFile(simulator_.path("Mozilla\\Firefox\\profiles.ini"),
                               "[Profile0]\nName=dev\nIsRelative=1\nPath=Profiles/abc\n"));
  const std::string lock = simulator_.path("Mozilla\\Firefox\\Profiles\\abc\\parent.lock");
  script({"on start lock-profile", "on gone unlock", "on gone set-event " + event("gone")});
  simulator_.start("-no-remote -P \"dev\"");

  EXPECT_FALSE(readWholeFile(lock).has_value());
  EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());

  HostPeer host("\\\\.\\pipe\\kx-fx-dev." + simulator_.userName());
  host.server() = PipeEnd();
  simulator_.waitFor("gone");
  EXPECT_TRUE(readWholeFile(lock).has_value());
}

TEST_F(Misbehaviour, RulesForOneConnectionLeaveTheOthersAlone) {
  connect({"on play@2 1 result -2 other"});
  HostPeer second(pipe());
  ASSERT_TRUE(second.shakeHands());

  EXPECT_EQ(1, exchange().at("errorCode"));
  EXPECT_EQ(-2, Json::parse(second.exchange(playText(""))).at("errorCode"));
  EXPECT_EQ(1, Json::parse(second.exchange(playText(""))).at("errorCode"));
}

TEST_F(Misbehaviour, AnIdleProcessEndsItself) {
  startWith({"idle-limit 1"});

  EXPECT_EQ(75U, simulator_.exitCode());
}

TEST_F(Misbehaviour, TheProcessEndsWithTheOneItBelongsTo) {
  SimulatorProcess parent;
  parent.start();
  startWith({"watch-parent " + std::to_string(parent.processId())});
  simulator_.waitFor("serving");

  parent.terminate();

  EXPECT_EQ(76U, simulator_.exitCode());
}

// The name chooses what the script would say, and goes with what it does say.
TEST_F(Misbehaviour, AReadyMadeOneIsChosenByItsNameAndRequestsAreShown) {
  simulator_.script("on play performance load 7");
  simulator_.start("--misbehave=failing-macros --show-requests");
  host_.emplace(pipe());
  ASSERT_TRUE(host_->shakeHands());

  const Json reply = exchange();

  EXPECT_EQ(-50, reply.at("errorCode"));
  EXPECT_EQ("load", reply.at("lastPerformance").at(0).at("name"));
  simulator_.terminate();
  EXPECT_EQ(99U, simulator_.exitCode());
  EXPECT_NE(std::string::npos,
            simulator_.output().find("conn=1 request-bytes n=1 {\\n \"type\" : \"play\","));
  EXPECT_NE(std::string::npos, simulator_.output().find("conn=1 reply-bytes n=1 {"));
}

TEST_F(Misbehaviour, OneThatThereIsNotEndsTheProcess) {
  simulator_.startOnly("--misbehave=stays,sulks");

  EXPECT_EQ(64U, simulator_.exitCode());
  EXPECT_NE(std::string::npos, simulator_.output().find("there is no misbehaviour 'sulks'"));
}

}  // namespace
}  // namespace kxsim
