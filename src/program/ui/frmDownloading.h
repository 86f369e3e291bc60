#pragma once

#include "platform/Toolkit.h"
#include "ui/Chrome.h"
#include "ui/Look.h"

/// The progress of one transfer. Loaded for each, shown only if the user asked for it.
struct FrmDownloading : Form {
    Backdrop imgHeaderBg{*this, {0, 0, 441, 40}, "header-441"};
    PictureBox imgMark{*this, {10, 8, 24, 24}, "mark"};
    Label lblHeaderTitle{*this, {42, 8, 390, 24}, L"Quillory - Initializing...", look::title};
    PictureBox imgDownloadBg{*this, {12, 60, 417, 22}, "download-bg", {}, {}, Role::trough};
    ProgressBar picProgressBar{*this, {12, 60, 417, 22}, "progress"};
    Label lblProgressPercent{*this, {100, 92, 241, 18}, L"100%", look::centred};
    // Out of the Tab key's reach, as all of this window is: no key aborts a download by accident.
    Button imgAbort{*this, {345, 108, 84, 28}, "button-abort", L"Abort", look::quietButton};

    FrmDownloading();
    void Form_Load();
    void SetProgressBarValue(std::int16_t percent);
    void imgAbort_Click();

private:
    HeaderDrag drag{*this, imgHeaderBg, lblHeaderTitle};
};
extern AutoForm<FrmDownloading> frmDownloading;
