#pragma once

#include <cstdint>
#include <set>

#include <windows.h>

#include "platform/Toolkit.h"

/// What windows are drawn with: bitmaps in memory, the program's own pictures, fonts and pointers.
namespace platform::win32 {

/// A design length in whole pixels at a density.
int toPixels(double designPixels, int dpi);

/// Pixels in memory, 32 bits each, rows from the top, with a device context to draw on them.
class Surface {
public:
    Surface() = default;
    Surface(int width, int height); // empty if the system has no room for it
    Surface(Surface&& other) noexcept;
    Surface& operator=(Surface&& other) noexcept;
    ~Surface();

    HDC dc() const { return context; }
    int width() const { return size.cx; }
    int height() const { return size.cy; }

    /// Row `y`, each pixel blue, green, red, alpha from the low byte. Valid until the next drawing through dc().
    std::uint32_t* row(int y) const { return pixels + static_cast<std::ptrdiff_t>(y) * size.cx; }

    explicit operator bool() const { return pixels != nullptr; }

private:
    void swap(Surface& other) noexcept;

    HDC context = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ formerBitmap = nullptr;
    std::uint32_t* pixels = nullptr;
    SIZE size{};
};

/// The picture at a density, with premultiplied alpha; null if there is none. Kept until its density is forgotten.
const Surface* pictureSurface(const Picture& picture, int dpi);

/// Lets go of the pictures that no window shows: those of other densities than these.
void forgetPictures(const std::set<int>& usedDpis);

/// The system's user-interface font at a density; kept for the life of the process.
HFONT font(const TextStyle& style, int dpi);

/// The size of a text that wraps at a width, in pixels: wider than that if one of its words is.
SIZE textSize(const std::wstring& text, const TextStyle& style, int width, int dpi);

/// Draws a text into its place, with the first letter `key` in it underlined (0: none).
void drawText(HDC dc, RECT place, const std::wstring& text, const TextStyle& style, int dpi, wchar_t key = 0);

/// Draws a picture at its own size, clipped to its place.
void drawPicture(HDC dc, const RECT& place, const Picture& picture, int dpi);

/// The pointer of that number; the arrow for one that is not known.
HCURSOR pointer(std::int16_t number);

/// The program's icon at the size of a system metric (SM_CXICON or SM_CXSMICON) at a density; kept for the life of the
/// process.
HICON programIcon(int widthMetric, int dpi);

/// A rectangle with rounded corners, smooth at the edges, drawn where `clip` allows. Lengths in pixels.
struct RoundedBox {
    RECT place;
    double radius;
    double edgeWidth;
    Color edge;
    bool filled;
    Color fill;
};
void draw(Surface& onto, const RoundedBox& box, const RECT& clip);

inline COLORREF colorRef(Color color) { return RGB(color.red, color.green, color.blue); }

} // namespace platform::win32
