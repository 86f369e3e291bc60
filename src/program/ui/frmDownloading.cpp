#include "ui/frmDownloading.h"

#include "api/CVHAPI.h"
#include "core/Numbers.h"
#include "core/modMisc.h"
#include "platform/Files.h"
#include "state/modGlobals.h"
#include "ui/frmMain.h"

AutoForm<FrmDownloading> frmDownloading;

FrmDownloading::FrmDownloading()
    : Form({.name = L"frmDownloading",
            .caption = {},
            .width = 441,
            .height = 150,
            .inTaskbar = false,
            .closable = false,
            .background = look::paper,
            .edge = look::water,
            .text = look::ink}) {
    picProgressBar.name = L"Progress"; // where a screen reader would hear a bare percentage
    showHand({&imgAbort});
    imgAbort.Click = [this] { imgAbort_Click(); };
}

void FrmDownloading::Form_Load() { SetProgressBarValue(0); }

void FrmDownloading::SetProgressBarValue(std::int16_t percent) {
    constexpr double fullWidth = 417;
    const std::int16_t width = toInteger(percent / 100.0 * fullWidth);
    picProgressBar.Width = width < 1 ? 1 : width;
}

void FrmDownloading::imgAbort_Click() {
    gAPI->VHDownload.Cancel();
    if (fileExists(gAPI->VHDownload.Destination())) platform::deleteFile(gAPI->VHDownload.Destination());
    gAPI->apiDownloadingUpdate = false;
    gAPI->apiDownloadingUpdateErr = 0;
    gAPI->apiDownloadingUpdateMD5 = false;
    frmMain->Enabled = true;
    frmDownloading.Unload();
}
