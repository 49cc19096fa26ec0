// Pictures that a real browser takes: the file is a PNG, as large as the page says, with the page's colours
// where the page has them.
#include "e2e/picture.h"

#include "e2e/shared_browser.h"

namespace {

KX_ON_BOTH_BROWSERS(Pictures);

constexpr Colour kHeader = {0x0a, 0x6b, 0x3d};
constexpr Colour kMessage = {0x1b, 0x4f, 0x8f};
constexpr Colour kPaper = {0xff, 0xff, 0xff};
constexpr int kCannotWrite = -17;

// A window that shows a scroll bar is wider than its page.
struct PageSize {
  int pageWidth;
  int pageHeight;
  int windowWidth;
  int windowHeight;
};

PageSize sizeOf(const Host& host) {
  constexpr char kAsk[] = R"(
    const sizes = await evaluate(() => [document.documentElement.clientWidth,
        document.documentElement.scrollHeight, window.innerWidth, window.innerHeight]);
    sizes.forEach((size) => extractText(size));
  )";
  if (host.play(kAsk) != KX_OK) {
    throw std::runtime_error(host.errorText());
  }
  return {std::stoi(host.extract(1)), std::stoi(host.extract(2)), std::stoi(host.extract(3)),
          std::stoi(host.extract(4))};
}

TEST_P(Pictures, APictureOfThePageShowsAllOfIt) {
  const std::string file = temporaryFile("page of Łukasz.png");
  play("await open(variables.site + '/table?rows=100');");
  const PageSize size = sizeOf(host());
  ASSERT_GT(size.pageHeight, size.windowHeight);

  ASSERT_EQ(host().takePicture(file, KX_SCREENSHOT_PAGE), KX_OK);

  EXPECT_EQ(host().errorNumber(), KX_ERROR_SUCCESS) << host().errorText();
  const Picture picture(file);
  EXPECT_EQ(picture.width(), size.pageWidth);
  EXPECT_EQ(picture.height(), size.pageHeight);
  EXPECT_EQ(picture.at(2, 2), kHeader);
  EXPECT_EQ(picture.at(size.pageWidth - 3, 2), kHeader);
  EXPECT_EQ(picture.at(2, size.pageHeight - 3), kPaper);
}

TEST_P(Pictures, APictureOfTheBrowserIsAsLargeAsItsWindow) {
  const std::string file = temporaryFile("browser.png");
  play("await open(variables.site + '/table?rows=100');");
  const PageSize size = sizeOf(host());

  ASSERT_EQ(host().takePicture(file, KX_SCREENSHOT_BROWSER), KX_OK);

  EXPECT_EQ(host().errorNumber(), KX_ERROR_SUCCESS) << host().errorText();
  const Picture picture(file);
  EXPECT_EQ(picture.width(), size.windowWidth);
  EXPECT_EQ(picture.height(), size.windowHeight);
  EXPECT_EQ(picture.at(2, 2), kHeader);
}

TEST_P(Pictures, AShownMessageIsInThePicture) {
  const std::string before = temporaryFile("before.png");
  const std::string after = temporaryFile("after.png");
  play("await open(variables.site + '/form');");
  ASSERT_EQ(host().takePicture(before, KX_SCREENSHOT_BROWSER), KX_OK);

  ASSERT_EQ(host().display("Look"), KX_OK);
  ASSERT_EQ(host().takePicture(after, KX_SCREENSHOT_BROWSER), KX_OK);

  EXPECT_EQ(Picture(before).at(2, 2), kHeader);
  EXPECT_EQ(Picture(after).at(2, 2), kMessage);
}

TEST_P(Pictures, APictureThatCannotBeWrittenIsToldByNumber) {
  const std::string file = temporaryFile("no such folder\\picture.png");

  EXPECT_EQ(host().takePicture(file, KX_SCREENSHOT_PAGE), KX_OK);

  EXPECT_EQ(host().errorNumber(), kCannotWrite);
  EXPECT_FALSE(fileExists(file));
}

}  // namespace
