#include "platform/PictureDecoder.h"

#include <cstddef>

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include "platform/win32/Com.h"

using Microsoft::WRL::ComPtr;

namespace {

bool isAccepted(const GUID& format) {
    return format == GUID_ContainerFormatJpeg || format == GUID_ContainerFormatPng ||
           format == GUID_ContainerFormatGif || format == GUID_ContainerFormatBmp;
}

} // namespace

namespace platform {

std::optional<DecodedPicture> decodePicture(const std::string& file) {
    win32::useCom();
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IWICStream> stream;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    ComPtr<IWICFormatConverter> converter;
    GUID format{};
    UINT width = 0;
    UINT height = 0;
    // The stream only reads, though its call takes bytes that may be written.
    const auto bytes = const_cast<BYTE*>(reinterpret_cast<const BYTE*>(file.data()));
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(factory.GetAddressOf()))) ||
        FAILED(factory->CreateStream(stream.GetAddressOf())) ||
        FAILED(stream->InitializeFromMemory(bytes, static_cast<DWORD>(file.size()))) ||
        FAILED(factory->CreateDecoderFromStream(stream.Get(), nullptr, WICDecodeMetadataCacheOnDemand,
                                                decoder.GetAddressOf())) ||
        FAILED(decoder->GetContainerFormat(&format)) || !isAccepted(format) ||
        FAILED(decoder->GetFrame(0, frame.GetAddressOf())) || FAILED(frame->GetSize(&width, &height)) || width == 0 ||
        height == 0 || std::uint64_t{width} * height > INT32_MAX / 4 ||
        FAILED(factory->CreateFormatConverter(converter.GetAddressOf())) ||
        FAILED(converter->Initialize(frame.Get(), GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone, nullptr, 0,
                                     WICBitmapPaletteTypeCustom)))
        return std::nullopt;
    DecodedPicture decoded{width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 4)};
    if (FAILED(converter->CopyPixels(nullptr, width * 4, static_cast<UINT>(decoded.bgra.size()), decoded.bgra.data())))
        return std::nullopt;
    return decoded;
}

} // namespace platform
