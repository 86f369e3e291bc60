#include "platform/PictureFile.h"

#include <cstddef>

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include "platform/RunTimeError.h"
#include "platform/win32/Com.h"

using Microsoft::WRL::ComPtr;

namespace {

bool isAccepted(const GUID& format) {
    return format == GUID_ContainerFormatJpeg || format == GUID_ContainerFormatPng ||
           format == GUID_ContainerFormatGif || format == GUID_ContainerFormatBmp;
}

/// A decoder is made on one thread and used on another, and the apartment of the first, by which COM holds the codecs,
/// has ended by then. So they stay in the process once they have come.
void keepCodecs() {
    HMODULE codecs = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN, L"windowscodecs.dll", &codecs);
}

} // namespace

struct PictureFile::Decoder {
    std::string content; // the stream reads from it
    ComPtr<IWICBitmapSource> pixels;
    UINT width = 0;
    UINT height = 0;
    bool hasOpacity = false;

    bool open();
};

bool PictureFile::Decoder::open() {
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IWICStream> stream;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    GUID format{};
    WICPixelFormatGUID pixelFormat{};
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(factory.GetAddressOf()))) ||
        FAILED(factory->CreateStream(stream.GetAddressOf())) ||
        FAILED(stream->InitializeFromMemory(reinterpret_cast<BYTE*>(content.data()),
                                            static_cast<DWORD>(content.size()))) ||
        FAILED(factory->CreateDecoderFromStream(stream.Get(), nullptr, WICDecodeMetadataCacheOnDemand,
                                                decoder.GetAddressOf())) ||
        FAILED(decoder->GetContainerFormat(&format)) || !isAccepted(format) ||
        FAILED(decoder->GetFrame(0, frame.GetAddressOf())) || FAILED(frame->GetSize(&width, &height)) || width == 0 ||
        height == 0 || std::uint64_t{width} * height > INT32_MAX / 4 || FAILED(frame->GetPixelFormat(&pixelFormat)))
        return false;
    keepCodecs();
    hasOpacity = format != GUID_ContainerFormatJpeg;
    if (!hasOpacity && pixelFormat == GUID_WICPixelFormat24bppBGR) { // a photograph as it is
        pixels = frame;
        return true;
    }
    ComPtr<IWICFormatConverter> converter;
    if (FAILED(factory->CreateFormatConverter(converter.GetAddressOf())) ||
        FAILED(converter->Initialize(frame.Get(),
                                     hasOpacity ? GUID_WICPixelFormat32bppBGRA : GUID_WICPixelFormat24bppBGR,
                                     WICBitmapDitherTypeNone, nullptr, 0, WICBitmapPaletteTypeCustom)))
        return false;
    pixels = converter;
    return true;
}

PictureFile::PictureFile(std::string content) : decoder(std::make_unique<Decoder>()) {
    platform::win32::useCom();
    decoder->content = std::move(content);
    if (!decoder->open()) throw RunTimeError(errors::invalidPicture);
}

PictureFile::~PictureFile() = default;

std::uint32_t PictureFile::width() const { return decoder->width; }

std::uint32_t PictureFile::height() const { return decoder->height; }

bool PictureFile::hasOpacity() const { return decoder->hasOpacity; }

void PictureFile::readRows(std::uint32_t first, std::uint32_t count, std::uint32_t stride, std::uint8_t* into) const {
    const WICRect rows{0, static_cast<INT>(first), static_cast<INT>(width()), static_cast<INT>(count)};
    if (FAILED(decoder->pixels->CopyPixels(&rows, stride, stride * count, into)))
        throw RunTimeError(errors::invalidPicture);
}
