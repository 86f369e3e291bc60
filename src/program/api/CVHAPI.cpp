#include "api/CVHAPI.h"

#include "api/modXML.h"
#include "core/Endpoints.h"
#include "core/Errors.h"
#include "core/modMisc.h"
#include "platform/Messages.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"

std::unique_ptr<CVHAPI> gAPI;

CVHAPI::CVHAPI() : apiKey(::ApiKey), ApiHost(::ApiHost), ApiBaseUrl(L"http://" + ApiHost + L"/api.php?apikey=") {
    makeSocket();
    VHDownload.on.Starting = [this](auto&&...) { VHDownload_Starting(); };
    VHDownload.on.DataArrival = [this](std::int32_t Bytes) { VHDownload_DataArrival(Bytes); };
    VHDownload.on.Completed = [this] { VHDownload_Completed(); };
    VHDownload.on.Error = [this](std::int16_t Number, std::wstring& Description) {
        VHDownload_Error(Number, Description);
    };
}

void CVHAPI::makeSocket() {
    if (VHSock) VHSock->on = {};
    VHSock = CSocketMaster::create();
    VHSock->on.DataArrival = [this](std::int32_t) { VHSock_DataArrival(); };
    VHSock->on.Error = [this](std::int16_t Number, std::wstring& Description, auto&&...) {
        VHSock_Error(Number, Description);
    };
}

bool CVHAPI::APISend(const std::wstring& QueryMethod, Strings& queryKeys, Strings& queryValues) {
    return trapErrors(L"Function APISend, CVHAPI", [&] {
        if (VHSock->State() != StateConnected && !APIConnect()) return false;
        if (QueryMethod != L"vh.getGalleries" && QueryMethod != L"vh.auth.login") {
            array_push(queryKeys, L"QY_Version");
            array_push(queryValues, std::wstring(AppVersion));
        }
        std::wstring url = ApiBaseUrl + apiKey + L"&method=" + QueryMethod;
        for (std::size_t i = 0; i < queryKeys.size(); ++i)
            url += L"&" + URLEncode(queryKeys[i]) + L"=" + URLEncode(queryValues[i]);
        // The whole URL in the request line, and no header lines at all: this is what the service expects.
        VHSock->SendData(L"GET " + url + L" HTTP/1.0" + crLf + crLf);
        if (VHSock->State() == StateError) {
            APIHandleSockError();
            return false;
        }
        Start_SockTimeout = static_cast<std::int16_t>(timerTick);
        gTimers->Active_SockTimeout = true;
        return true;
    });
}

void CVHAPI::APICloseSock() { VHSock->CloseSck(); }

bool CVHAPI::APIConnect() {
    return trapErrors(L"Function APIConnect, CVHAPI", [&] {
        if (VHSock->State() == StateConnected) return true;
        VHSock->CloseSck();
        if (VHSock->State() == StateError) makeSocket(); // without a handle there is no other way out of that state
        VHSock->Connect(ApiHost, 80);
        // Only the socket's own failure ends the wait; timers and everything else go on meanwhile. A nested loop may
        // have seen the connection both come and go, which leaves StateClosing.
        while (VHSock->State() != StateConnected) {
            const auto state = VHSock->State();
            if (state == StateError || state == StateClosed || state == StateClosing) {
                apiSetNetworkOutage();
                return false;
            }
            platform::waitMessages();
        }
        return true;
    });
}

/// Each event sees the whole answer so far. The end of an answer is known from its text alone: a last line that closes
/// the root element which the first line opened.
void CVHAPI::VHSock_DataArrival() {
    trapErrors(L"Function VHSock_DataArrival, CVHAPI", [&] {
        apiNetworkOutage = false;
        gTimers->Active_SockTimeout = false;

        Value peeked = std::wstring();
        VHSock->PeekData(peeked);
        std::wstring strData = std::get<std::wstring>(peeked);
        if (!validateHTMLHeader(strData)) notifyForeignResponse(); // warns, does not block

        Strings lines = split(strData, L"\n");
        while (lines.size() >= 2 && lines.front().empty()) array_shift(lines);
        if (lines.size() < 2) return;
        while (lines.back().empty()) {
            lines.pop_back();
            if (lines.size() == 1) {
                notifyUnexpectedResponse();
                break;
            }
        }
        if (apiExpectedCloseTag.empty()) {
            const std::wstring& first = lines.front();
            const std::wstring inside = first.size() > 2 ? first.substr(1, first.size() - 2) : std::wstring();
            apiExpectedCloseTag = L"</" + inside.substr(0, inside.find(L' ')) + L">";
        }
        if (lines.back() != apiExpectedCloseTag) return;

        apiExpectedCloseTag.clear();
        Value taken = std::wstring();
        VHSock->GetData(taken);
        strData = std::get<std::wstring>(taken);
        if (!validateHTMLHeader(strData)) notifyForeignResponse();
        ParseXML(strData);
        endAbandonedRotation(); // unless that answer named an image
    });
}
