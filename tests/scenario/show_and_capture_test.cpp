// kx_Display() and kx_TakeBrowserScreenshot().
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <array>
#include <cstdint>

namespace {

class Show : public Conversation {
 protected:
  SimulatedBrowser browser_;
};

TEST_F(Show, AMessageIsSentWithItsEscapes) {
  attach(browser_);

  EXPECT_EQ(dll_.kx_Display(context_, "Say \"hello\"\n\xc3\xa6", 30), KX_OK);

  EXPECT_EQ(browser_.request(2), showRequest("Say \\\"hello\\\"\\n\xc3\xa6"));
}

TEST_F(Show, AMessageIsLoggedBeforeItIsSent) {
  attach(browser_);
  const LogFile log;

  ASSERT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);

  const std::string request = showRequest("hello");
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("show message hello")
                            .info("Client: sending message to server [" + request +
                                  "], msg len=" + std::to_string(request.size()))
                            .info("Client: Message sent, receiving response")
                            .info("Client: Read 29 bytes from communication pipe")
                            .info("Client: handling response..")
                            .text());
}

TEST_F(Show, AnAnswerWithAnErrorIsAnAnswer) {
  browser_.script("on show result 9 No window");
  attach(browser_);

  EXPECT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);

  EXPECT_EQ(errorNumber(), -9);
  EXPECT_EQ(errorText(), "No window");
}

TEST_F(Show, WithoutAnAnswerItFails) {
  browser_.script("on show no-reply");
  attach(browser_);

  EXPECT_EQ(dll_.kx_Display(context_, "hello", 1), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_TIMEOUT);
  EXPECT_EQ(errorText(), "Error while receiving response");
}

// A PNG as far as its structure goes: every chunk with its checksum, the size of the picture, the end.
struct Picture {
  bool isWhole = false;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

std::uint32_t bigEndian(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8U | static_cast<unsigned char>(bytes.at(at + i));
  }
  return value;
}

std::uint32_t checksum(const std::string& bytes) {
  std::uint32_t crc = 0xffffffffU;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xedb88320U : crc >> 1U;
    }
  }
  return ~crc;
}

Picture readPicture(const std::string& path) {
  const std::string bytes = fileBytes(path);
  Picture picture;
  if (!bytes.starts_with("\x89PNG\r\n\x1a\n")) {
    return picture;
  }
  std::string type;
  for (std::size_t at = 8; at < bytes.size();) {
    const std::size_t length = bigEndian(bytes, at);
    type = bytes.substr(at + 4, 4);
    if (bigEndian(bytes, at + 8 + length) != checksum(bytes.substr(at + 4, 4 + length))) {
      return picture;
    }
    if (type == "IHDR") {
      picture.width = bigEndian(bytes, at + 8);
      picture.height = bigEndian(bytes, at + 12);
    }
    at += 12 + length;
  }
  picture.isWhole = type == "IEND";
  return picture;
}

class Capture : public Show {
 protected:
  int capture(const std::string& path, int type) const {
    return dll_.kx_TakeBrowserScreenshot(context_, path.c_str(), type, 30);
  }
  std::string picturePath() const { return user_.temp() + "\\picture.png"; }
  std::string escapedPicturePath() const {
    std::string path;
    for (const char c : picturePath()) {
      path += c == '\\' ? std::string("\\\\") : std::string(1, c);
    }
    return path;
  }
};

TEST_F(Capture, ThePageIsSavedAsAPicture) {
  attach(browser_);

  EXPECT_EQ(capture(picturePath(), KX_SCREENSHOT_PAGE), KX_OK);

  EXPECT_EQ(browser_.request(2), captureRequest(escapedPicturePath(), "webpage"));
  const Picture picture = readPicture(picturePath());
  EXPECT_TRUE(picture.isWhole);
  EXPECT_EQ(picture.width, 320U);
  EXPECT_EQ(picture.height, 240U);
}

TEST_F(Capture, TheBrowserIsSavedAsAPicture) {
  attach(browser_);

  EXPECT_EQ(capture(picturePath(), KX_SCREENSHOT_BROWSER), KX_OK);

  EXPECT_EQ(browser_.request(2), captureRequest(escapedPicturePath(), "browser"));
  const Picture picture = readPicture(picturePath());
  EXPECT_TRUE(picture.isWhole);
  EXPECT_EQ(picture.width, 360U);
  EXPECT_EQ(picture.height, 320U);
}

TEST_F(Capture, EveryTypeButOneIsTheBrowser) {
  attach(browser_);

  EXPECT_EQ(capture(picturePath(), 2), KX_OK);
  EXPECT_EQ(capture(picturePath(), -1), KX_OK);

  EXPECT_EQ(browser_.request(2), captureRequest(escapedPicturePath(), "browser"));
  EXPECT_EQ(browser_.request(3), captureRequest(escapedPicturePath(), "browser"));
}

TEST_F(Capture, APathMayHoldCharactersOutsideAscii) {
  attach(browser_);
  const std::string path = user_.temp() + "\\\xe6\x97\xa5\xe6\x9c\xac \xc3\xa6.png";

  EXPECT_EQ(capture(path, KX_SCREENSHOT_PAGE), KX_OK);

  EXPECT_TRUE(readPicture(path).isWhole);
}

TEST_F(Capture, APictureThatCannotBeWrittenIsToldInTheAnswer) {
  attach(browser_);

  EXPECT_EQ(capture(user_.temp() + "\\missing\\picture.png", KX_SCREENSHOT_PAGE), KX_OK);

  EXPECT_EQ(errorNumber(), -930);
  EXPECT_EQ(errorText(), "Could not write screenshot " + user_.temp() + "\\missing\\picture.png (error 3)");
}

}  // namespace
