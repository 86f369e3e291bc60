#pragma once

#include "platform/RunTimeError.h"
#include "platform/Toolkit.h"
#include "ui/Look.h"

/// A notice that rises out of the taskbar, stays a moment and sinks back, without ever taking the focus. Any touch loads
/// it, and loading it starts it. A caller that wants its own heading sets lblTitle before it calls startSlide.
struct FrmSlideMessage : Form {
    Backdrop imgWatermarkBg{*this, {0, 40, 417, 81}, "watermark"};
    Backdrop imgHeaderBg{*this, {0, 0, 417, 40}, "header-417"};
    PictureBox imgMark{*this, {10, 8, 24, 24}, "mark"};
    Label lblTitle{*this, {42, 8, 336, 24}, L"Quillory Wallpaper Manager", look::title};
    CloseMark picCloseX{*this, {387, 10, 20, 20}};
    Label lblStatusMsg{*this, {12, 41, 393, 82}, L"Loading...", look::caption};

    TimerControl tmrSlide{*this, 2, true};

    FrmSlideMessage();
    void Form_Load();
    void startSlide(const std::wstring& msg);
    void slideSysError(const std::wstring& location, std::int32_t number, const std::wstring& description);

    void tmrSlide_Timer();
    void picCloseX_Click();

private:
    enum Phase : std::int32_t { rising = 0, holding = 1, sinking = 2 };
    void clip();

    // Twips, as the form's own position.
    std::int16_t slideTaskbarHeight = 0;
    std::int16_t slideTravel = 0;
    std::int16_t slideDuration = 0; // nominal milliseconds of one slide
    std::int16_t slideTicks = 0;    // firings in the current phase
    std::int32_t slidePhase = rising;
};
extern AutoForm<FrmSlideMessage> frmSlideMessage;
