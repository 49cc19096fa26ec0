// The ordinary conversation: where the pipe is, the handshake, every type of request, and the end.
#include "png.h"
#include "tests/win32/host_peer.h"
#include "win32/windows_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>

namespace kxsim {
namespace {

using Json = nlohmann::json;

class Conversation : public testing::Test {
 protected:
  std::string defaultPipe(const std::string& type) const {
    return "\\\\.\\pipe\\kx-" + type + "-default." + simulator_.userName();
  }

  SimulatorProcess simulator_;
};

TEST_F(Conversation, AHostFindsTheSimulatorAtTheDefaultPipeAndIsCalledBack) {
  simulator_.start();
  HostPeer host(defaultPipe("fx"));
  ASSERT_TRUE(host.reached());

  EXPECT_TRUE(host.shakeHands());

  EXPECT_EQ(host.ownName() + "\n", simulator_.recorded("name-line-1.bin"));
}

TEST_F(Conversation, AProgramNamedLikeChromeServesChromesPipe) {
  simulator_.copyProgramAs("Chrome.exe");
  simulator_.start();

  EXPECT_TRUE(HostPeer(defaultPipe("cr")).reached());
}

TEST_F(Conversation, ThePipeSwitchNamesThePipe) {
  const std::string pipe = "\\\\.\\pipe\\" + simulator_.userName() + ".runner";
  simulator_.start("-no-remote -P \"dev\" -kx-pipe \"" + pipe + "\"");

  EXPECT_TRUE(HostPeer(pipe).reached());
}

TEST_F(Conversation, TheDefaultProfileOfFirefoxNamesThePipe) {
  std::filesystem::create_directories(toWide(simulator_.path("Mozilla\\Firefox")));
  ASSERT_EQ(0U,
            writeWholeFile(simulator_.path("Mozilla\\Firefox\\profiles.ini"),
                           "[General]\r\nStartWithLastProfile=1\r\n[Profile0]\r\nName=dev\r\nDefault=1\r\n"));
  simulator_.start();

  EXPECT_TRUE(HostPeer("\\\\.\\pipe\\kx-fx-dev." + simulator_.userName()).reached());
}

class ConnectedHost : public Conversation {
 protected:
  void connect() {
    simulator_.start();
    host_.emplace(defaultPipe("fx"));
    ASSERT_TRUE(host_->shakeHands());
  }

  Json exchange(const std::string& type, const std::vector<std::string>& argumentLines = {}) {
    return Json::parse(host_->exchange(requestText(type, argumentLines)));
  }

  std::optional<HostPeer> host_;
};

TEST_F(ConnectedHost, AnInitRequestSucceedsAndIsRecordedByteForByte) {
  connect();
  const std::string request = requestText("init", {"\"openNewBrowser\" : false", "\"launched\" : true"});

  const Json reply = Json::parse(host_->exchange(request));

  EXPECT_EQ(1, reply.at("errorCode"));
  EXPECT_EQ("OK", reply.at("status"));
  EXPECT_EQ(request, simulator_.recorded("request-1-1.bin"));
  EXPECT_TRUE(simulator_.eventLogHas("init open-new-browser=false launched=true"));
}

TEST_F(ConnectedHost, AMacroUsesTheVariablesOfItsRequest) {
  connect();

  const Json reply = exchange("play", {"\"source\" : \"extract $(who)\\nperformance load 7\"",
                                       "\"vars\" : {\n   \"who\" : \"J\xc3\xb6rg\"\n  }"});

  EXPECT_EQ(Json::array({"J\xc3\xb6rg"}), reply.at("extractData"));
  EXPECT_EQ("load", reply.at("lastPerformance").at(0).at("name"));
  EXPECT_EQ("7", reply.at("lastPerformance").at(0).at("value"));
  EXPECT_FALSE(reply.contains("profilerData"));
}

TEST_F(ConnectedHost, ARequestThatIsNoJsonIsStillAnsweredAndRecordedAsItIs) {
  connect();
  const std::string request = requestText(
      "play", {"\"source\" : \"extract $(a\\\"b)\x01\xff\"", "\"vars\" : {\n   \"a\"b\" : \"\x02x\"\n  }"});

  host_->send(request);
  const std::string reply = host_->readOnce();

  EXPECT_NE(std::string::npos, reply.find("\"extractData\":[\"\\u0002x\\u0001\xff\"]")) << reply;
  EXPECT_EQ(request, simulator_.recorded("request-1-1.bin"));
}

TEST_F(ConnectedHost, AShownMessageIsLogged) {
  connect();

  EXPECT_EQ(1, exchange("show", {"\"message\" : \"Gr\xc3\xbc\xc3\x9f\\nGott\""}).at("errorCode"));
  EXPECT_TRUE(simulator_.eventLogHas("show message=Gr\xc3\xbc\xc3\x9f\\nGott"));
}

TEST_F(ConnectedHost, ACaptureWritesAPictureAtAPathOutsideAsciiOrFails) {
  connect();
  const std::string path = simulator_.path("page-\xc3\xa4\xe6\xbc\xa2.png");
  const std::string missing = simulator_.path("none\\x.png");

  EXPECT_EQ(
      1, exchange("capture", {"\"path\" : " + Json(path).dump(), "\"type\" : \"webpage\""}).at("errorCode"));
  EXPECT_EQ("\x89PNG\r\n\x1a\n", readWholeFile(path).value_or("").substr(0, 8));
  EXPECT_EQ(
      -930,
      exchange("capture", {"\"path\" : " + Json(missing).dump(), "\"type\" : \"browser\""}).at("errorCode"));
}

TEST_F(ConnectedHost, ExitNamesTheProcessAndEndsIt) {
  connect();

  EXPECT_EQ(simulator_.processId(), exchange("exit").at("waitForProcessId").get<DWORD>());
  EXPECT_EQ(0U, simulator_.exitCode());
  EXPECT_TRUE(simulator_.eventLogHas("end code=0 reason=exit"));
}

TEST_F(ConnectedHost, ASecondHostIsServedBesideTheFirst) {
  connect();
  HostPeer second(defaultPipe("fx"));
  ASSERT_TRUE(second.reached());
  ASSERT_TRUE(second.shakeHands());

  const Json secondReply = Json::parse(second.exchange(playText("extract two")));
  const Json firstReply = Json::parse(host_->exchange(playText("extract one")));

  EXPECT_EQ(Json::array({"two"}), secondReply.at("extractData"));
  EXPECT_EQ(Json::array({"one"}), firstReply.at("extractData"));
}

TEST_F(ConnectedHost, AHostThatVanishesLeavesTheSimulatorServing) {
  simulator_.script("on gone set-event " + simulator_.eventName("gone"));
  connect();
  host_->send("{\n \"type\" : \"pl");
  host_->hangUp();
  simulator_.waitFor("gone");

  HostPeer next(defaultPipe("fx"));

  EXPECT_TRUE(next.shakeHands());
  EXPECT_EQ("{\n \"type\" : \"pl", simulator_.recorded("rest-1.bin"));
}

TEST_F(Conversation, AHostThatHasLeftTheWellKnownPipeBeforeItIsWaitedForIsStillCalledBack) {
  simulator_.script("on serving set-event " + simulator_.eventName("made"));
  simulator_.script("on serving wait-event " + simulator_.eventName("left"));
  simulator_.start();
  simulator_.waitFor("made");
  HostPeer host(defaultPipe("fx"));
  host.sendNameLine();
  host.server() = PipeEnd();
  simulator_.signal("left");

  EXPECT_TRUE(host.accept());
}

TEST_F(Conversation, TheCommandLineAndTheWorkingDirectoryAreRecordedAsTheyAre) {
  simulator_.start("-no-remote -P \"d\xc3\xb6v\"");

  EXPECT_EQ(simulator_.program() + " -no-remote -P \"d\xc3\xb6v\"", simulator_.recorded("command-line.txt"));
  EXPECT_EQ(simulator_.path("record"), simulator_.recorded("working-directory.txt") + "\\record");
}

TEST_F(Conversation, HelpAndVersionEndAtOnce) {
  simulator_.startOnly("--help");

  EXPECT_EQ(0U, simulator_.exitCode());
  EXPECT_NE(std::string::npos, simulator_.output().find("on MOMENT[@C] [COUNT] ACTION"));
}

TEST_F(Conversation, DescribeTellsTheChoiceAndServesNothing) {
  simulator_.startOnly("--describe --type=cr");

  EXPECT_EQ(0U, simulator_.exitCode());
  EXPECT_NE(std::string::npos, simulator_.output().find("pipe=" + defaultPipe("cr")));
}

TEST_F(Conversation, ABadScriptEndsTheProcessAndSaysWhere) {
  simulator_.script("on play dance");
  simulator_.startOnly();

  EXPECT_EQ(64U, simulator_.exitCode());
  EXPECT_NE(std::string::npos, simulator_.output().find("line 2: there is no action 'dance'"));
}

}  // namespace
}  // namespace kxsim
