#include <winsock2.h>
#include <windows.h>

/// What a start is measured against: the least that shows a window, and then says so to port 80 of this machine.
int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
    WNDCLASSW design{};
    design.lpfnWndProc = DefWindowProcW;
    design.hInstance = instance;
    design.hbrBackground = GetSysColorBrush(COLOR_WINDOW);
    design.lpszClassName = L"Empty";
    RegisterClassW(&design);
    const HWND window =
        CreateWindowExW(0, L"Empty", L"", WS_POPUP, 100, 100, 640, 520, nullptr, nullptr, instance, nullptr);
    ShowWindow(window, SW_SHOWNORMAL);
    UpdateWindow(window);

    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    const SOCKET connection = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(80);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 1;
    send(connection, "GET /empty HTTP/1.0\r\n\r\n", 23, 0);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message); // until it is ended
    return 0;
}
