// What a script can make the simulator do wrong, as a host sees it.
#include "tests/win32/host_peer.h"
#include "win32/windows_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <numeric>
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

  // Starts the simulator with these lines in its script and shakes hands with it.
  void connect(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      simulator_.script(line);
    }
    simulator_.start();
    host_.emplace(pipe());
    ASSERT_TRUE(host_->reached());
    ASSERT_TRUE(host_->shakeHands());
  }

  void startWith(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      simulator_.script(line);
    }
    simulator_.startOnly();
  }

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

  EXPECT_EQ(1, Json::parse(host_->exchange(playText(""))).at("errorCode"));
  EXPECT_EQ(-7, Json::parse(host_->exchange(playText(""))).at("errorCode"));
  EXPECT_EQ(1, Json::parse(host_->exchange(playText(""))).at("errorCode"));
}

TEST_F(Misbehaviour, ASplitReplyArrivesInTwoReads) {
  connect({"on play split 5"});

  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));
  EXPECT_EQ((Sizes{5, kPlainReply.size() - 5}), host_->pieces());
}

TEST_F(Misbehaviour, AReplyInPiecesArrivesInReadsOfThoseSizes) {
  connect({"on play pieces 1 2 3", "on play chunk 10"});

  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));
  EXPECT_EQ((Sizes{1, 2, 3, 10, 10, kPlainReply.size() - 26}), host_->pieces());
}

TEST_F(Misbehaviour, AReplyInSingleBytesArrivesInReadsOfOneByte) {
  connect({"on play chunk 1"});

  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));
  EXPECT_EQ(Sizes(kPlainReply.size(), 1), host_->pieces());
}

TEST_F(Misbehaviour, AReplyCanStopHalfWayUntilAnEvent) {
  connect({"on play send 4", "on play set-event " + event("half"), "on play wait-event " + event("go")});
  host_->send(playText(""));
  EXPECT_EQ(kPlainReply.substr(0, 4), host_->readOnce());
  simulator_.waitFor("half");

  simulator_.signal("go");

  EXPECT_EQ(kPlainReply.substr(4), host_->readOnce());
}

TEST_F(Misbehaviour, ACutReplyIsFollowedByTheEnd) {
  connect({"on play cut 7"});
  host_->send(playText(""));

  EXPECT_EQ(kPlainReply.substr(0, 7), host_->readOnce());
  EXPECT_TRUE(host_->ended());
}

TEST_F(Misbehaviour, AHangUpInPlaceOfAReplySendsNothing) {
  connect({"on play hang-up"});
  host_->send(playText(""));

  EXPECT_TRUE(host_->ended());
}

TEST_F(Misbehaviour, AHangUpAfterAReplyLetsTheReplyBeRead) {
  connect({"on play send", "on play hang-up"});

  EXPECT_EQ(kPlainReply, host_->exchange(playText("")));
  EXPECT_TRUE(host_->ended());
}

TEST_F(Misbehaviour, RawBytesAreSentAsTheyAre) {
  connect({"on play reply \\x00\\xff{\\\"\\n"});
  host_->send(playText(""));

  EXPECT_EQ(std::string("\0\xff{\\\"\n", 6), host_->readOnce());
}

TEST_F(Misbehaviour, AFileCanBeTheReply) {
  const std::string content = "{\"errorCode\":5}";
  ASSERT_EQ(0U, writeWholeFile(simulator_.path("new reply.txt"), content));
  connect({"on play reply-file " + simulator_.path("new reply.txt")});

  EXPECT_EQ(content, host_->exchange(playText("")));
}

TEST_F(Misbehaviour, TwoRepliesArriveInOneRead) {
  connect({"on play twice"});
  host_->send(playText(""));

  EXPECT_EQ(kPlainReply + kPlainReply, host_->readOnce());
}

TEST_F(Misbehaviour, BytesCanStandBeforeAndBehindAReply) {
  connect({"on play prepend \\t ", "on play append {\"x"});
  host_->send(playText(""));

  EXPECT_EQ("\t " + kPlainReply + "{\"x", host_->readOnce());
}

TEST_F(Misbehaviour, ARequestLeftUnansweredIsFollowedByTheNext) {
  connect({"on play 1 no-reply", "on play 2 extract second"});
  host_->send(playText("extract one"));

  const Json reply = Json::parse(host_->exchange(playText("")));

  EXPECT_EQ(Json::array({"second"}), reply.at("extractData"));
}

TEST_F(Misbehaviour, TheContentOfAReplyCanBeChosen) {
  connect({"on play result -3 slow", "on play extract a\\nb", "on play performance load 5",
           "on play profiler p", "on play member waitForProcessId \"x\"", "on play nesting 3",
           "on play drop status"});

  const Json reply = Json::parse(host_->exchange(playText("")));

  EXPECT_EQ(
      Json::parse(R"({"errorCode":-3,"extractData":["a\nb"],"lastPerformance":[{"name":"load","value":"5"}],
                            "profilerData":"p\n","waitForProcessId":"x","nested":[[[]]]})"),
      reply);
}

TEST_F(Misbehaviour, AReplyCanBeOfAnExactSize) {
  connect({"on play reply-size 100000"});

  EXPECT_EQ(100000U, host_->exchange(playText("")).size());
}

TEST_F(Misbehaviour, AReplyCanHoldATableOfExtracts) {
  connect({"on play extract-table 500 20"});

  const Json reply = Json::parse(host_->exchange(playText("")));

  EXPECT_EQ(500U, reply.at("extractData").size());
  EXPECT_EQ("abcdefghijklmnopqrst", reply.at("extractData").at(499));
}

TEST_F(Misbehaviour, ARequestThatIsNotReadBlocksTheHostsWrite) {
  connect({"on before-request hold"});
  const std::string request = playText(std::string(100000, '#'));
  OVERLAPPED overlapped{};
  const UniqueHandle written(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  overlapped.hEvent = written.get();

  WriteFile(host_->own().nativeHandle(), request.data(), static_cast<DWORD>(request.size()), nullptr,
            &overlapped);

  EXPECT_EQ(static_cast<DWORD>(ERROR_IO_PENDING), GetLastError());
  EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), WaitForSingleObject(written.get(), 100));
  CancelIoEx(host_->own().nativeHandle(), &overlapped);
  DWORD count = 0;
  GetOverlappedResult(host_->own().nativeHandle(), &overlapped, &count, TRUE);
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

  const Json reply = Json::parse(host_->exchange(playText("extract whole")));

  EXPECT_EQ(Json::array({"whole"}), reply.at("extractData"));
  EXPECT_EQ("{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"half",
            simulator_.recorded("torn-1-1.bin"));
  simulator_.waitFor("torn");
}

TEST_F(Misbehaviour, TheSimulatorCanFailToConnectBack) {
  simulator_.script("on handshake set-event " + event("named"));
  simulator_.script("on handshake hang-up");
  simulator_.script("on gone set-event " + event("gone"));
  simulator_.start();
  host_.emplace(pipe());
  host_->sendNameLine();
  simulator_.waitFor("gone");

  EXPECT_EQ(host_->ownName() + "\n", simulator_.recorded("name-line-1.bin"));
  EXPECT_FALSE(simulator_.eventLogHas("conn=1 connected"));
}

TEST_F(Misbehaviour, TheSimulatorCanConnectBackLate) {
  simulator_.script("on handshake set-event " + event("named"));
  simulator_.script("on handshake wait-event " + event("go"));
  simulator_.start();
  host_.emplace(pipe());
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
  simulator_.script("early-connect");
  simulator_.script("on connected hang-up");
  simulator_.start();
  host_.emplace(pipe());
  host_->sendNameLine();

  // The write has only just ended, so by now the simulator has come and left.
  OVERLAPPED overlapped{};
  const UniqueHandle connected(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  overlapped.hEvent = connected.get();
  EXPECT_EQ(0, ConnectNamedPipe(host_->own().nativeHandle(), &overlapped));
  EXPECT_EQ(static_cast<DWORD>(ERROR_NO_DATA), GetLastError());
}

TEST_F(Misbehaviour, TheWellKnownPipeCanBeClosedUnread) {
  simulator_.script("on connect hang-up");
  simulator_.script("on gone set-event " + event("gone"));
  simulator_.start();
  host_.emplace(pipe());
  ASSERT_TRUE(host_->reached());

  std::string bytes;
  EXPECT_EQ(PipeEnd::Outcome::kEnded, host_->server().read(bytes, 1));
  simulator_.waitFor("gone");
  EXPECT_EQ("(no file)", simulator_.recorded("name-line-1.bin"));
}

TEST_F(Misbehaviour, AnUnreadNameLineBlocksTheHostWhenThePipesBufferIsSmall) {
  simulator_.script("server-buffer 1");
  simulator_.script("on connect hold");
  simulator_.start();
  host_.emplace(pipe());
  const std::string line = "\\\\.\\pipe\\none\n";
  OVERLAPPED overlapped{};
  const UniqueHandle written(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  overlapped.hEvent = written.get();

  WriteFile(host_->server().nativeHandle(), line.data(), static_cast<DWORD>(line.size()), nullptr,
            &overlapped);

  EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), WaitForSingleObject(written.get(), 100));
  CancelIoEx(host_->server().nativeHandle(), &overlapped);
  DWORD count = 0;
  GetOverlappedResult(host_->server().nativeHandle(), &overlapped, &count, TRUE);
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

  const Json reply = Json::parse(host_->exchange(requestText("exit")));

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

  EXPECT_EQ(0, Json::parse(host_->exchange(requestText("exit"))).at("waitForProcessId"));
  EXPECT_EQ(-1.5, Json::parse(host_->exchange(requestText("exit"))).at("waitForProcessId"));
  EXPECT_FALSE(Json::parse(host_->exchange(requestText("exit"))).contains("waitForProcessId"));
  EXPECT_EQ(simulator_.processId(),
            Json::parse(host_->exchange(requestText("exit"))).at("waitForProcessId").get<DWORD>());
}

TEST_F(Misbehaviour, TheFirefoxProfileCanBeHeld) {
  for (const char* folder :
       {"Mozilla", "Mozilla\\Firefox", "Mozilla\\Firefox\\Profiles", "Mozilla\\Firefox\\Profiles\\abc"}) {
    CreateDirectoryW(toWide(simulator_.path(folder)).c_str(), nullptr);
  }
  ASSERT_EQ(0U, writeWholeFile(simulator_.path("Mozilla\\Firefox\\profiles.ini"),
                               "[Profile0]\nName=dev\nIsRelative=1\nPath=Profiles/abc\n"));
  const std::string lock = simulator_.path("Mozilla\\Firefox\\Profiles\\abc\\parent.lock");
  simulator_.script("on start lock-profile");
  simulator_.script("on gone unlock");
  simulator_.script("on gone set-event " + event("gone"));
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

  EXPECT_EQ(1, Json::parse(host_->exchange(playText(""))).at("errorCode"));
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

}  // namespace
}  // namespace kxsim
