#include "platform/win32/ToolkitArt.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cwctype>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "platform/PictureFile.h"
#include "platform/RunTimeError.h"
#include "platform/win32/Density.h"

// Bitmaps in memory, the pictures of the program, fonts and pointers.

namespace platform::win32 {

int toPixels(double designPixels, int dpi) { return static_cast<int>(std::lround(designPixels * dpi / 96)); }

// Surfaces

Surface::Surface(int width, int height) : size{width, height} {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height; // rows from the top
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    if (width > 0 && height > 0) bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (!bitmap) {
        size = {};
        return;
    }
    context = CreateCompatibleDC(nullptr);
    formerBitmap = SelectObject(context, bitmap);
    pixels = static_cast<std::uint32_t*>(bits);
}

Surface::Surface(Surface&& other) noexcept { swap(other); }

Surface& Surface::operator=(Surface&& other) noexcept {
    swap(other);
    return *this;
}

Surface::~Surface() {
    if (!context) return;
    SelectObject(context, formerBitmap);
    DeleteDC(context);
    DeleteObject(bitmap);
}

void Surface::swap(Surface& other) noexcept {
    std::swap(context, other.context);
    std::swap(bitmap, other.bitmap);
    std::swap(formerBitmap, other.formerBitmap);
    std::swap(pixels, other.pixels);
    std::swap(size, other.size);
}

// Pictures

namespace {

/// The densities at which the build renders each picture.
constexpr std::array densities{96, 120, 144, 192};

/// The smallest density that needs no enlarging, else the greatest.
int nearestDensity(int dpi) {
    const auto found = std::ranges::lower_bound(densities, dpi);
    return found == densities.end() ? densities.back() : *found;
}

std::wstring resourceName(const std::string& art, int density) {
    std::wstring name = L"ART_";
    for (const char c : art) name += c == '-' ? L'_' : static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
    return name + L'_' + std::to_wstring(density);
}

Surface premultiplied(const PictureFile& picture) {
    Surface surface(static_cast<int>(picture.width()), static_cast<int>(picture.height()));
    if (!surface || !picture.hasOpacity()) return {};
    for (int y = 0; y < surface.height(); ++y) {
        std::uint32_t* const row = surface.row(y);
        picture.readRows(static_cast<std::uint32_t>(y), 1, picture.width() * 4, reinterpret_cast<std::uint8_t*>(row));
        for (int x = 0; x < surface.width(); ++x) {
            const std::uint32_t alpha = row[x] >> 24;
            const auto part = [&](int bits) { return ((row[x] >> bits & 0xFF) * alpha + 127) / 255 << bits; };
            row[x] = alpha << 24 | part(16) | part(8) | part(0);
        }
    }
    return surface;
}

/// Resamples the rows to another length, and lays them down as columns. Each new pixel weighs the old ones around it by
/// their nearness, as far as the wider of the two kinds of pixels reaches.
Surface resampledRows(const Surface& source, int length) {
    Surface target(source.height(), length);
    if (!target) return {};
    const double step = static_cast<double>(source.width()) / length;
    const double reach = std::max(1.0, step);
    for (int x = 0; x < length; ++x) {
        const double centre = (x + 0.5) * step - 0.5;
        const int first = std::max(0, static_cast<int>(std::ceil(centre - reach)));
        const int last = std::min(source.width() - 1, static_cast<int>(std::floor(centre + reach)));
        for (int y = 0; y < source.height(); ++y) {
            std::array<double, 4> sums{};
            double total = 0;
            for (int i = first; i <= last; ++i) {
                const double weight = 1 - std::abs(i - centre) / reach;
                for (unsigned channel = 0; channel < 4; ++channel)
                    sums[channel] += weight * (source.row(y)[i] >> 8 * channel & 0xFF);
                total += weight;
            }
            std::uint32_t& pixel = target.row(x)[y];
            for (unsigned channel = 0; channel < 4; ++channel)
                pixel |= static_cast<std::uint32_t>(std::lround(sums[channel] / total)) << 8 * channel;
        }
    }
    return target;
}

/// For a screen whose density is none of the rendered ones.
Surface scaled(const Surface& source, double factor) {
    const auto length = [factor](int from) { return std::max(1, static_cast<int>(std::lround(from * factor))); };
    return resampledRows(resampledRows(source, length(source.width())), length(source.height()));
}

Surface loadArt(const std::string& art, int dpi) {
    const int density = nearestDensity(dpi);
    const HRSRC found = FindResourceW(nullptr, resourceName(art, density).c_str(), RT_RCDATA);
    const HGLOBAL loaded = found ? LoadResource(nullptr, found) : nullptr;
    if (!loaded) return {};
    const auto* bytes = static_cast<const char*>(LockResource(loaded));
    try {
        Surface surface = premultiplied(PictureFile(std::string(bytes, SizeofResource(nullptr, found))));
        return density == dpi ? std::move(surface) : scaled(surface, static_cast<double>(dpi) / density);
    } catch (const RunTimeError&) {
        return {}; // a window without its pictures still works
    }
}

std::map<std::pair<int, std::string>, Surface> arts; // by density and name

} // namespace

const Surface* pictureSurface(const Picture& picture, int dpi) {
    if (picture.art.empty()) return nullptr;
    const std::pair key(dpi, picture.art);
    auto found = arts.find(key);
    if (found == arts.end()) found = arts.emplace(key, loadArt(picture.art, dpi)).first;
    return found->second ? &found->second : nullptr;
}

void forgetPictures(const std::set<int>& usedDpis) {
    std::erase_if(arts, [&](const auto& kept) { return !usedDpis.contains(kept.first.first); });
}

// Fonts, pointers, icons

namespace {

int CALLBACK noteFont(const LOGFONTW*, const TEXTMETRICW*, DWORD, LPARAM found) {
    *reinterpret_cast<bool*>(found) = true;
    return 0; // one is enough
}

bool isInstalled(const wchar_t* face) {
    LOGFONTW wanted{};
    wanted.lfCharSet = DEFAULT_CHARSET;
    lstrcpynW(wanted.lfFaceName, face, LF_FACESIZE);
    bool found = false;
    const HDC screen = GetDC(nullptr);
    EnumFontFamiliesExW(screen, &wanted, noteFont, reinterpret_cast<LPARAM>(&found), 0);
    ReleaseDC(nullptr, screen);
    return found;
}

std::wstring messageFontFace() {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    if (!SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0)) return L"MS Shell Dlg 2";
    return metrics.lfMessageFont.lfFaceName;
}

const std::wstring& face(bool semibold) {
    static const std::wstring plain = isInstalled(L"Segoe UI") ? L"Segoe UI"
                                      : isInstalled(L"Tahoma") ? L"Tahoma"
                                                               : messageFontFace();
    // A family of its own; of the plain family GDI would give the bold face.
    static const std::wstring heavier = isInstalled(L"Segoe UI Semibold") ? L"Segoe UI Semibold" : plain;
    return semibold ? heavier : plain;
}

} // namespace

HFONT font(const TextStyle& style, int dpi) {
    static std::map<std::tuple<long, bool, bool>, HFONT> fonts;
    const long height = std::lround(style.points * dpi / 72);
    HFONT& made = fonts[{height, style.semibold, style.underline}];
    if (!made)
        made = CreateFontW(-static_cast<int>(height), 0, 0, 0, style.semibold ? FW_SEMIBOLD : FW_NORMAL, FALSE,
                           style.underline, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS,
                           DEFAULT_QUALITY, DEFAULT_PITCH | FF_DONTCARE, face(style.semibold).c_str());
    return made;
}

// Texts

namespace {

constexpr UINT wrapped = DT_NOPREFIX | DT_WORDBREAK;

/// The text as the system's drawing takes it with an access key: an ampersand before the letter.
std::wstring marked(const std::wstring& text, wchar_t key) {
    std::wstring result;
    bool found = false;
    for (const wchar_t c : text) {
        if (c == L'&' || (!found && std::towupper(c) == std::towupper(key))) result += L'&';
        found = found || std::towupper(c) == std::towupper(key);
        result += c;
    }
    return result;
}

} // namespace

SIZE textSize(const std::wstring& text, const TextStyle& style, int width, int dpi) {
    RECT needed{0, 0, width, 0};
    const HDC dc = CreateCompatibleDC(nullptr);
    const HGDIOBJ former = SelectObject(dc, font(style, dpi));
    DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &needed, wrapped | DT_CALCRECT);
    SelectObject(dc, former);
    DeleteDC(dc);
    return {needed.right, needed.bottom};
}

void drawText(HDC dc, RECT place, const std::wstring& text, const TextStyle& style, int dpi, wchar_t key) {
    if (text.empty()) return;
    if (style.middle) {
        const LONG spare = place.bottom - place.top - textSize(text, style, place.right - place.left, dpi).cy;
        place.top += std::max(0L, spare / 2); // a text that is too tall is cut off at its end
    }
    SelectObject(dc, font(style, dpi));
    SetTextColor(dc, colorRef(style.color));
    SetBkMode(dc, TRANSPARENT);
    const UINT align = style.align == Align::centre ? DT_CENTER : style.align == Align::right ? DT_RIGHT : DT_LEFT;
    const std::wstring drawn = key ? marked(text, key) : text;
    DrawTextW(dc, drawn.c_str(), static_cast<int>(drawn.size()), &place,
              (key ? wrapped & ~static_cast<UINT>(DT_NOPREFIX) : wrapped) | align);
}

void drawPicture(HDC dc, const RECT& place, const Picture& picture, int dpi) {
    const Surface* surface = pictureSurface(picture, dpi);
    if (!surface) return;
    const int width = std::min<int>(surface->width(), place.right - place.left);
    const int height = std::min<int>(surface->height(), place.bottom - place.top);
    const BLENDFUNCTION blend{AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};
    if (width > 0 && height > 0)
        GdiAlphaBlend(dc, place.left, place.top, width, height, surface->dc(), 0, 0, width, height, blend);
}

HCURSOR pointer(std::int16_t number) {
    static const HCURSOR arrow = LoadCursorW(nullptr, IDC_ARROW);
    static const HCURSOR sizeAll = LoadCursorW(nullptr, IDC_SIZEALL);
    static const HCURSOR hand = [] {
        auto own = static_cast<HCURSOR>(
            LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(1), IMAGE_CURSOR, 0, 0, LR_DEFAULTSIZE | LR_SHARED));
        return own ? own : LoadCursorW(nullptr, IDC_HAND);
    }();
    return number == pointerHand ? hand : number == pointerSizeAll ? sizeAll : arrow;
}

HICON programIcon(int widthMetric, int dpi) {
    static std::map<int, HICON> icons; // by side
    const int side = metricAt(widthMetric, dpi);
    HICON& icon = icons[side];
    if (!icon)
        icon = static_cast<HICON>(
            LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(1), IMAGE_ICON, side, side, 0));
    return icon;
}

// Rounded boxes

namespace {

std::uint8_t mixed(std::uint32_t below, std::uint8_t above, double cover) {
    return static_cast<std::uint8_t>(std::lround(below + (above - static_cast<double>(below)) * cover));
}

void blend(std::uint32_t& pixel, Color color, double cover) {
    if (cover <= 0) return;
    const std::uint8_t red = mixed(pixel >> 16 & 0xFF, color.red, cover);
    const std::uint8_t green = mixed(pixel >> 8 & 0xFF, color.green, cover);
    const std::uint8_t blue = mixed(pixel & 0xFF, color.blue, cover);
    pixel = 0xFF000000U | static_cast<std::uint32_t>(red << 16 | green << 8 | blue);
}

} // namespace

void draw(Surface& onto, const RoundedBox& box, const RECT& clip) {
    const RECT bounds{0, 0, onto.width(), onto.height()};
    RECT area;
    if (!IntersectRect(&area, &box.place, &clip) || !IntersectRect(&area, &area, &bounds)) return;
    GdiFlush(); // what GDI still holds back must lie below
    const double halfWidth = (box.place.right - box.place.left) / 2.0;
    const double halfHeight = (box.place.bottom - box.place.top) / 2.0;
    const double radius = std::min({box.radius, halfWidth, halfHeight});
    for (LONG y = area.top; y < area.bottom; ++y) {
        const double dy = std::abs(y + 0.5 - box.place.top - halfHeight) - (halfHeight - radius);
        for (LONG x = area.left; x < area.right; ++x) {
            const double dx = std::abs(x + 0.5 - box.place.left - halfWidth) - (halfWidth - radius);
            // How far the pixel's middle lies within the outline, which gives its share of coverage near it.
            const double inside = radius - (dx > 0 && dy > 0 ? std::hypot(dx, dy) : std::max(dx, dy));
            const double cover = std::clamp(inside + 0.5, 0.0, 1.0);
            const double inner = std::clamp(inside - box.edgeWidth + 0.5, 0.0, 1.0);
            if (box.filled) {
                blend(onto.row(y)[x], box.edge, cover);
                blend(onto.row(y)[x], box.fill, inner);
            } else {
                blend(onto.row(y)[x], box.edge, cover - inner);
            }
        }
    }
}

} // namespace platform::win32
