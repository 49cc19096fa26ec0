#include "e2e/picture.h"

#include "support/win32/text.h"

#include <windows.h>
#include <memory>
#include <stdexcept>
#include <wincodec.h>

namespace {

constexpr std::size_t kBytesPerPixel = 4;

void check(HRESULT result, const std::string& what) {
  if (FAILED(result)) {
    throw std::runtime_error("cannot " + what + ", result " +
                             std::to_string(static_cast<unsigned long>(result)));
  }
}

struct Release {
  void operator()(IUnknown* object) const { object->Release(); }
};

// What a call makes that hands it out by a pointer to a pointer.
template <typename Interface, typename Call>
std::unique_ptr<Interface, Release> made(const std::string& what, Call call) {
  Interface* object = nullptr;
  check(call(&object), what);
  return std::unique_ptr<Interface, Release>(object);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Colour& colour) {
  return out << "rgb(" << colour.red << ", " << colour.green << ", " << colour.blue << ")";
}

Picture::Picture(const std::string& path) {
  // Counted by the system, and given back with the process.
  check(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), "use COM");
  const auto factory = made<IWICImagingFactory>("make the decoder", [](IWICImagingFactory** result) {
    return ::CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                              reinterpret_cast<void**>(result));
  });
  const auto decoder = made<IWICBitmapDecoder>("open " + path, [&](IWICBitmapDecoder** result) {
    return factory->CreateDecoderFromFilename(wide(path).c_str(), nullptr, GENERIC_READ,
                                              WICDecodeMetadataCacheOnLoad, result);
  });
  GUID format{};
  check(decoder->GetContainerFormat(&format), "tell the format of " + path);
  if (format != GUID_ContainerFormatPng) {
    throw std::runtime_error(path + " is no PNG");
  }
  const auto frame = made<IWICBitmapFrameDecode>(
      "read " + path, [&](IWICBitmapFrameDecode** result) { return decoder->GetFrame(0, result); });
  const auto pixels = made<IWICBitmapSource>("convert " + path, [&](IWICBitmapSource** result) {
    return ::WICConvertBitmapSource(GUID_WICPixelFormat32bppBGRA, frame.get(), result);
  });
  UINT width = 0;
  UINT height = 0;
  check(pixels->GetSize(&width, &height), "measure " + path);
  const UINT stride = width * kBytesPerPixel;
  pixels_.resize(std::size_t{stride} * height);
  check(pixels->CopyPixels(nullptr, stride, stride * height, pixels_.data()), "decode " + path);
  width_ = static_cast<int>(width);
  height_ = static_cast<int>(height);
}

Colour Picture::at(int x, int y) const {
  const std::size_t first =
      (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)) *
      kBytesPerPixel;
  return {pixels_.at(first + 2), pixels_.at(first + 1), pixels_.at(first)};
}
