#include "e2e/picture.h"

#include "support/win32/text.h"

#include <windows.h>
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

template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;
  ~ComPointer() {
    if (pointer_ != nullptr) {
      pointer_->Release();
    }
  }
  Interface** receive() { return &pointer_; }
  Interface* get() const { return pointer_; }
  Interface* operator->() const { return pointer_; }

 private:
  Interface* pointer_ = nullptr;
};

class ComApartment {
 public:
  ComApartment() { check(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), "use COM"); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
  ~ComApartment() { ::CoUninitialize(); }
};

}  // namespace

std::ostream& operator<<(std::ostream& out, const Colour& colour) {
  return out << "rgb(" << colour.red << ", " << colour.green << ", " << colour.blue << ")";
}

Picture::Picture(const std::string& path) {
  const ComApartment apartment;
  ComPointer<IWICImagingFactory> factory;
  ComPointer<IWICBitmapDecoder> decoder;
  ComPointer<IWICBitmapFrameDecode> frame;
  ComPointer<IWICFormatConverter> converter;
  check(::CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                           reinterpret_cast<void**>(factory.receive())),
        "make the decoder");
  check(factory->CreateDecoderFromFilename(wide(path).c_str(), nullptr, GENERIC_READ,
                                           WICDecodeMetadataCacheOnLoad, decoder.receive()),
        "open " + path);
  GUID format{};
  check(decoder->GetContainerFormat(&format), "tell the format of " + path);
  if (format != GUID_ContainerFormatPng) {
    throw std::runtime_error(path + " is no PNG");
  }
  check(decoder->GetFrame(0, frame.receive()), "read " + path);
  check(factory->CreateFormatConverter(converter.receive()), "make a converter");
  check(converter->Initialize(frame.get(), GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone, nullptr, 0,
                              WICBitmapPaletteTypeCustom),
        "convert " + path);
  UINT width = 0;
  UINT height = 0;
  check(converter->GetSize(&width, &height), "measure " + path);
  pixels_.resize(std::size_t{width} * height * kBytesPerPixel);
  check(converter->CopyPixels(nullptr, static_cast<UINT>(width * kBytesPerPixel),
                              static_cast<UINT>(pixels_.size()), pixels_.data()),
        "decode " + path);
  width_ = static_cast<int>(width);
  height_ = static_cast<int>(height);
}

Colour Picture::at(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) {
    throw std::out_of_range("the picture has no such pixel");
  }
  const std::size_t first =
      (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)) *
      kBytesPerPixel;
  return {pixels_[first + 2], pixels_[first + 1], pixels_[first]};
}
