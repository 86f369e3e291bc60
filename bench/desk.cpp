#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <objbase.h>
#include <olectl.h>
#include <wincodec.h>
#include <winternl.h>
#include <wrl/client.h>

/// The Windows side of bench/run, bench/soak and bench/kill: what a rotation is measured against, built from bare
/// calls, and a hand and an eye beside the program.
///
/// usage: desk_bench rotate JPEG BMP  turns one file into the other with each of the platform's decoders
///        desk_bench watch            for each line of input: "look PID", "box", "user-objects", "longest-wait",
///                                    "double-click-icon" or "press FORM X Y"
/// What is found goes to the output, a line of JSON each.

namespace {

using Microsoft::WRL::ComPtr;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "desk_bench: %s (%lu)\n", what, GetLastError());
    std::exit(1);
}

void expect(bool condition, const char* what) {
    if (!condition) fail(what);
}

// A bare rotation

std::vector<char> contentOf(const wchar_t* path) {
    const HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    expect(file != INVALID_HANDLE_VALUE, "no picture");
    std::vector<char> content(GetFileSize(file, nullptr));
    DWORD taken = 0;
    ReadFile(file, content.data(), static_cast<DWORD>(content.size()), &taken, nullptr);
    CloseHandle(file);
    return content;
}

/// One call for all pixels, as they come, and as `flushed` says with the wait for the disk.
void writeBitmap(const wchar_t* path, LONG width, LONG height, WORD bits, const void* pixels, DWORD size,
                 bool flushed) {
    BITMAPFILEHEADER head{0x4D42, 0, 0, 0, sizeof head + sizeof(BITMAPINFOHEADER)};
    head.bfSize = head.bfOffBits + size;
    const BITMAPINFOHEADER info{sizeof info, width, height, 1, bits, BI_RGB, size, 0, 0, 0, 0};
    const HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    expect(file != INVALID_HANDLE_VALUE, "no bitmap");
    DWORD written = 0;
    WriteFile(file, &head, sizeof head, &written, nullptr);
    WriteFile(file, &info, sizeof info, &written, nullptr);
    expect(WriteFile(file, pixels, size, &written, nullptr) && written == size, "the bitmap is not whole");
    if (flushed) FlushFileBuffers(file);
    CloseHandle(file);
}

void rotateByWic(const wchar_t* from, const wchar_t* to, bool flushed) {
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    UINT width = 0;
    UINT height = 0;
    expect(SUCCEEDED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                      IID_PPV_ARGS(factory.GetAddressOf()))) &&
               SUCCEEDED(factory->CreateDecoderFromFilename(from, nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand,
                                                            decoder.GetAddressOf())) &&
               SUCCEEDED(decoder->GetFrame(0, frame.GetAddressOf())) && SUCCEEDED(frame->GetSize(&width, &height)),
           "no decoder");
    const UINT stride = (width * 3 + 3) / 4 * 4;
    std::vector<BYTE> pixels(std::size_t{stride} * height);
    expect(SUCCEEDED(frame->CopyPixels(nullptr, stride, static_cast<UINT>(pixels.size()), pixels.data())), "no pixels");
    // A height below 0 stands for rows from the top.
    writeBitmap(to, static_cast<LONG>(width), -static_cast<LONG>(height), 24, pixels.data(),
                static_cast<DWORD>(pixels.size()), flushed);
}

void rotateByOle(const wchar_t* from, const wchar_t* to, bool flushed) {
    const std::vector<char> content = contentOf(from);
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, content.size());
    CopyMemory(GlobalLock(memory), content.data(), content.size());
    GlobalUnlock(memory);
    ComPtr<IStream> stream;
    ComPtr<IPicture> picture;
    OLE_HANDLE handle = 0;
    expect(SUCCEEDED(CreateStreamOnHGlobal(memory, TRUE, stream.GetAddressOf())) &&
               SUCCEEDED(OleLoadPicture(stream.Get(), 0, FALSE, IID_IPicture,
                                        reinterpret_cast<void**>(picture.GetAddressOf()))) &&
               SUCCEEDED(picture->get_Handle(&handle)),
           "no picture object");
    DIBSECTION section{};
    auto* const bitmap = reinterpret_cast<HBITMAP>(static_cast<std::uintptr_t>(handle));
    expect(GetObjectW(bitmap, sizeof section, &section) != 0, "no bitmap in the picture object");
    BITMAPINFO info{};
    info.bmiHeader = {sizeof info.bmiHeader, section.dsBm.bmWidth, section.dsBm.bmHeight, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    std::vector<BYTE> pixels(std::size_t(section.dsBm.bmWidth * 3 + 3) / 4 * 4 *
                             static_cast<std::size_t>(section.dsBm.bmHeight));
    const HDC screen = GetDC(nullptr);
    GetDIBits(screen, bitmap, 0, static_cast<UINT>(section.dsBm.bmHeight), pixels.data(), &info, DIB_RGB_COLORS);
    ReleaseDC(nullptr, screen);
    writeBitmap(to, section.dsBm.bmWidth, section.dsBm.bmHeight, 24, pixels.data(), static_cast<DWORD>(pixels.size()),
                flushed);
}

double processorSeconds() {
    FILETIME created, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    return (static_cast<double>(kernel.dwLowDateTime) + static_cast<double>(user.dwLowDateTime)) / 1e7;
}

int rotate(const wchar_t* from, const wchar_t* to) {
    constexpr int repetitions = 7;
    CoInitialize(nullptr);
    for (int i = 0; i < repetitions; ++i) {
        for (const bool flushed : {false, true}) {
            for (const bool byWic : {true, false}) {
                const auto start = std::chrono::steady_clock::now();
                const double before = processorSeconds();
                (byWic ? rotateByWic : rotateByOle)(from, to, flushed);
                const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
                std::printf(R"({"by": "%s%s", "seconds": %.4f, "processor": %.3f})"
                            "\n",
                            byWic ? "wic" : "ole", flushed ? " flushed" : "", wall, processorSeconds() - before);
                std::fflush(stdout);
            }
        }
    }
    return 0;
}

// A look at the program

/// What the system knows of each handle, in the answer to its question number 16.
struct SystemHandle {
    ULONG process;
    UCHAR type;
    UCHAR flags;
    USHORT value;
    PVOID object;
    ACCESS_MASK access;
};

/// The usual count is not kept under Wine.
ULONG handlesOf(DWORD process) {
    std::vector<ULONG> answer(1 << 16);
    ULONG needed = 0;
    while (NtQuerySystemInformation(static_cast<SYSTEM_INFORMATION_CLASS>(16), answer.data(),
                                    static_cast<ULONG>(answer.size()) * sizeof(ULONG), &needed) != 0)
        answer.resize(answer.size() * 2);
    const auto* const all = reinterpret_cast<const SystemHandle*>(answer.data() + 1);
    return static_cast<ULONG>(
        std::count_if(all, all + answer.front(), [&](const SystemHandle& each) { return each.process == process; }));
}

/// An entry of the table of GDI's objects, which each process can read. The usual count is not kept under Wine.
struct GdiObject {
    UINT64 object;
    ULONG owner;
    USHORT unique;
    UCHAR type;
    UCHAR flags;
    UINT64 user;
};

ULONG gdiObjectsOf(HANDLE process) {
    constexpr std::size_t tableInBlock = 0x94; // of the process environment block, 32 bits
    constexpr std::size_t length = 16384;
    PROCESS_BASIC_INFORMATION basics{};
    NtQueryInformationProcess(process, ProcessBasicInformation, &basics, sizeof basics, nullptr);
    const char* table = nullptr;
    std::vector<GdiObject> objects(length);
    expect(ReadProcessMemory(process, reinterpret_cast<const char*>(basics.PebBaseAddress) + tableInBlock,
                             static_cast<void*>(&table), sizeof table, nullptr) &&
               ReadProcessMemory(process, table, objects.data(), objects.size() * sizeof(GdiObject), nullptr),
           "no table of GDI's objects");
    return static_cast<ULONG>(std::ranges::count_if(objects, [](const GdiObject& each) { return each.type != 0; }));
}

/// The objects of the user interface (windows, menus, icons, cursors, hooks) of all programs on the desktop: the usual
/// count of one program's is not kept under Wine. Its handles are places in one table, which gets longer only when all
/// places in it are taken. So they are taken here until that happens; what is not ours then belongs to the others.
std::size_t userObjects() {
    constexpr std::size_t moreThanGaps = 2000; // of a table whose end is not known yet
    constexpr std::size_t firstHandle = 0x20;
    static std::size_t end = 0;
    std::vector<HMENU> taken;
    for (std::size_t before = end; taken.size() < moreThanGaps || end == before;) {
        taken.push_back(CreateMenu());
        expect(taken.back() != nullptr, "no menu");
        end = std::max<std::size_t>(end,
                                    ((reinterpret_cast<std::uintptr_t>(taken.back()) & 0xFFFF) - firstHandle) / 2 + 1);
    }
    for (const HMENU menu : taken) DestroyMenu(menu);
    return end - taken.size();
}

std::string look(DWORD id) {
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id);
    if (!process) return "null";
    char line[200];
    std::snprintf(line, sizeof line, R"({"handles": %lu, "GDI objects": %lu})", handlesOf(id), gdiObjectsOf(process));
    CloseHandle(process);
    return line;
}

/// At the first question it begins to ask the main window for an answer, again and again. At the second it ends, and
/// the result is the longest that an answer has taken, in seconds.
double longestWait() {
    using namespace std::chrono;
    static std::jthread asking;
    static steady_clock::duration longest;
    if (!asking.joinable()) {
        longest = {};
        asking = std::jthread([](const std::stop_token& stop) {
            for (; !stop.stop_requested(); Sleep(1)) {
                const auto start = steady_clock::now();
                SendMessageW(FindWindowW(L"Quillory.frmMain", nullptr), WM_NULL, 0, 0);
                longest = std::max(longest, steady_clock::now() - start);
            }
        });
        return 0;
    }
    asking.request_stop();
    asking.join();
    return duration<double>(longest).count();
}

/// As the tray's icon tells a double click: the event stands where a mouse move has its place.
std::string doubleClickIcon() {
    const HWND menu = FindWindowW(L"Quillory.frmPopupMenu", nullptr);
    return menu && PostMessageW(menu, WM_MOUSEMOVE, 0, WM_LBUTTONDBLCLK) ? "true" : "false";
}

/// Presses a button of a window, which need not be on the screen.
std::string press(const std::string& form, int x, int y) {
    const HWND window = FindWindowA(("Quillory." + form).c_str(), nullptr);
    const LPARAM at = MAKELPARAM(x, y);
    return window && PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, at) && PostMessageW(window, WM_LBUTTONUP, 0, at)
               ? "true"
               : "false";
}

int watch() {
    for (std::string what; std::cin >> what;) {
        std::string answer = "null";
        DWORD id = 0;
        std::string form;
        int x = 0;
        int y = 0;
        if (what == "look" && std::cin >> id) answer = look(id);
        if (what == "box") answer = FindWindowW(L"#32770", nullptr) ? "true" : "false";
        if (what == "user-objects") answer = std::to_string(userObjects());
        if (what == "longest-wait") answer = std::to_string(longestWait());
        if (what == "double-click-icon") answer = doubleClickIcon();
        if (what == "press" && std::cin >> form >> x >> y) answer = press(form, x, y);
        std::cout << answer << '\n' << std::flush;
    }
    return 0;
}

} // namespace

int wmain(int count, wchar_t** words) {
    const std::wstring job = count > 1 ? words[1] : L"";
    if (job == L"rotate" && count == 4) return rotate(words[2], words[3]);
    if (job == L"watch") return watch();
    fail("usage: desk_bench rotate JPEG BMP | watch");
}
