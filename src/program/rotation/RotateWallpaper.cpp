#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "api/modXML.h"
#include "core/Errors.h"
#include "core/Numbers.h"
#include "core/modMisc.h"
#include "state/modGlobals.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"
#include "ui/windows.h"

namespace {

/// The parameters of a request, in the order of pushing, which is the order on the wire.
struct Query {
    Strings keys, values;
    void push(const std::wstring& key, const std::wstring& value) {
        array_push(keys, key);
        array_push(values, value);
    }
};

void pushSource(Query& query) {
    switch (activeTab) {
    case 0: query.push(L"member", gAPI->apiUsername); break;
    case 1: query.push(L"tag", frmMain->txtTagName.Text); break;
    case 2:
        if (frmMain->cboGallery.Text == allGalleries) break;
        query.push(L"gallery", frmMain->cboGallery.Text);
        if (frmMain->cboCategory.Text != allCategories) query.push(L"category", frmMain->cboCategory.Text);
        break;
    default: break;
    }
}

} // namespace

void CVHAPI::RotateWallpaper() {
    trapErrors(L"Function RotateWallpaper, CVHAPI", [&] {
        if (apiDownloadingUpdate) return;
        if (apiNetworkOutage) {
            if (!apiForced) return;
            if (!apiNetworkRetry()) {
                apiNetworkOutage = false; // so that the outage is announced afresh to a user who asked
                apiSetNetworkOutage();
                return;
            }
        }
        if (frmMain->cboGallery.Text == loadingText || frmMain->cboCategory.Text == loadingText) {
            getGalleries();
            return;
        }
        secondsSinceChange = 0;

        Query query;
        query.push(L"withar", screenAspectRatio);
        query.push(L"withtags", L"no");
        query.push(L"sort", L"desc");
        query.push(L"minpoints", frmOptions->txtRating.Text);
        if (frmOptions->optRandomize.Value) {
            query.push(L"order", L"randomize");
        } else {
            // The setting and not the member decides, so that a later run goes on where this one ended.
            apiActiveWallpaper = toLong(Val(getAccountSetting(L"ActiveWallpaper", L"")));
            query.push(L"startid", std::to_wstring(apiActiveWallpaper));
            query.push(L"order", L"freshness");
        }
        query.push(L"page", L"1");
        query.push(L"perpage", L"1");
        pushSource(query);

        const bool favorites = activeTab == 0 && frmMain->optMemberFavorites.Value;
        APISend(favorites ? L"vh.wallpapers.favorites" : L"vh.wallpapers.browse", query.keys, query.values);
    });
}

void NoWallpapersExist() {
    trapErrors(L"Function NoWallpapersExist, modXML", [] {
        if (noWallpapersExist) return;
        std::wstring rating = frmOptions->txtRating.Text;
        if (toDouble(rating) > 0) rating += L"+";

        const auto checkThat = []() -> std::wstring {
            const std::wstring cropped = L"make sure they have been cropped to your resolution and have at least a ";
            if (activeTab == 2)
                return L"Check that your selected category contains wallpapers that have been cropped to your "
                       L"resolution and "
                       L"have at least a ";
            if (activeTab == 1)
                return L"Check that wallpapers marked with your exact tag exist on Velvet Harbor, then " + cropped;
            if (activeTab == 0 && frmMain->optMemberFavorites.Value)
                return L"Check that the selected member has favorited some wallpapers, then " + cropped;
            if (activeTab == 0 && frmMain->optMemberUploads.Value)
                return L"Check that the selected member has uploaded some wallpapers, then " + cropped;
            return {};
        };
        std::wstring message = L"Quillory couldn't find any wallpapers matching your settings!" + crLf + crLf;
        if (const std::wstring sentence = checkThat(); !sentence.empty())
            message += sentence + rating + L" rating (via your settings).";
        showNotice(L"Quillory - No matching wallpapers!", message);
        noWallpapersExist = true;
    });
}
