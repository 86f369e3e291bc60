#include "ui/frmSlideMessage.h"

#include "core/Endpoints.h"
#include "core/Numbers.h"
#include "core/Strings.h"
#include "core/modMisc.h"
#include "ui/Chrome.h"
#include "ui/windows.h"

AutoForm<FrmSlideMessage> frmSlideMessage;

FrmSlideMessage::FrmSlideMessage()
    : Form({.name = L"frmSlideMessage",
            .caption = L"Quillory Slide Up Message",
            .width = 417,
            .height = 121,
            .startUp = StartUp::manual,
            .inTaskbar = false,
            .notice = true,
            .background = look::paper,
            .edge = look::water,
            .text = look::ink}) {
    showHand({&picCloseX});
    tmrSlide.Timer = [this] { tmrSlide_Timer(); };
    picCloseX.Click = [this] { picCloseX_Click(); };
}

void FrmSlideMessage::Form_Load() {
    setAlwaysOnTop(*this, true); // also what makes the window visible, without activating it
    slideTaskbarHeight = toInteger(getTaskbarHeight() * screen::TwipsPerPixelY());
    slideTravel = toInteger(124 * twipsPerDesignPixel);
    Top = screen::Height();
    Left = screen::Width() - Width - screen::TwipsPerPixelX();
    slideDuration = 100;
    slidePhase = rising;
    slideTicks = 0;
    startSlide(L"Network Error!" + crLf +
               L"Could not connect to the Velvet Harbor servers.  Please check your internet connection.");
}

void FrmSlideMessage::startSlide(const std::wstring& msg) {
    lblStatusMsg.Caption = msg;
    tmrSlide.Enabled = true;
}

void FrmSlideMessage::slideSysError(const std::wstring& location, std::int32_t number,
                                    const std::wstring& description) {
    lblTitle.Caption = L"Quillory - Internal Error";
    startSlide(L"In " + location + crLf + L"[" + std::to_wstring(number) + L"] " + description + crLf +
               L"If this continues to happen, please reinstall Quillory from " + std::wstring(ProductPageUrl));
}

/// Time is counted in firings and not read from a clock. The window's bottom edge always rests on the taskbar's top: it
/// grows out of it while rising and is cut off by it while sinking.
void FrmSlideMessage::tmrSlide_Timer() {
    if (tmrSlide.Interval != 2) return;
    ++slideTicks;
    clip();
    const double bottom = screen::Height();
    const double travel = slideTravel + slideTaskbarHeight;
    const std::int32_t elapsed = slideTicks * static_cast<std::int32_t>(tmrSlide.Interval);
    const double part = static_cast<double>(elapsed) / slideDuration;
    switch (slidePhase) {
    case rising:
        if (elapsed >= slideDuration) {
            Top = bottom - travel;
            slideTicks = 0;
            slidePhase = holding;
        } else {
            Top = bottom - part * travel;
        }
        break;
    case holding:
        if (elapsed >= slideDuration * 15) {
            slideTicks = 0;
            slidePhase = sinking;
        }
        break;
    case sinking:
        if (elapsed >= slideDuration) {
            Top = bottom + travel;
            frmSlideMessage.Unload();
            return;
        }
        Top = bottom - (travel - part * travel);
        break;
    default: break;
    }
    clip();
}

void FrmSlideMessage::clip() {
    const double height = screen::Height() - Top - slideTaskbarHeight;
    Height = height < 0 ? 0 : height;
}

void FrmSlideMessage::picCloseX_Click() {
    tmrSlide.Enabled = false;
    frmSlideMessage.Unload();
}

void showNotice(const std::wstring& title, const std::wstring& text) {
    frmSlideMessage.Load();
    frmSlideMessage->lblTitle.Caption = title;
    frmSlideMessage->startSlide(text);
}

void slideError(const std::wstring& where, const RunTimeError& error) {
    frmSlideMessage->slideSysError(where, error.Number, error.Description);
}
