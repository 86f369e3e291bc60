#pragma once

#include "core/Endpoints.h"
#include "platform/Toolkit.h"
#include "ui/Chrome.h"
#include "ui/Look.h"

/// The main window: where wallpapers come from. Its controls are the live copy of the source selection, which a
/// rotation reads in place. It also holds the program's one clock, and is where the program starts and ends.
struct FrmMain : Form {
    Backdrop imgMainBg{*this, {0, 112, 640, 408}, "main-bg"};
    Backdrop picHeaderBg{*this, {0, 0, 640, 40}, "header-640"};
    PictureBox imgMark{*this, {10, 8, 24, 24}, "mark"};
    Label lblHeaderTitle{*this, {42, 8, 550, 24}, L"Quillory Wallpaper Manager", look::title};
    LinkPicture picMainTopLogo{*this, {0, 40, 640, 72}, "logo", L"Velvet Harbor"};

    Label lblChoose{*this, {20, 122, 600, 20}, L"What source should Quillory use for its wallpaper content?", look::heading};

    // The pictures that are shown, and each tab's picture in the other state.
    std::array<SourceTab, 3> picSourceTabs{{
        {*this, {20, 148, 196, 56}, "tab-member", L"Member"},
        {*this, {222, 148, 196, 56}, "tab-tag", L"Tag"},
        {*this, {424, 148, 196, 56}, "tab-category", L"Category"},
    }};
    std::array<PictureBox, 3> picSourceTabsAlt{{
        {*this, {20, 148, 196, 56}, "tab-member-active"},
        {*this, {222, 148, 196, 56}, "tab-tag-active"},
        {*this, {424, 148, 196, 56}, "tab-category-active"},
    }};

    std::array<Sheet, 3> frmSourceTabs{{
        {*this, {20, 204, 600, 248}, L"Member"},
        {*this, {20, 204, 600, 248}, L"Tag"},
        {*this, {20, 204, 600, 248}, L"Category"},
    }};

    // The member's own wallpapers.
    Label lblMemberTabInstructions{frmSourceTabs[0], {16, 14, 568, 34},
        L"Quillory can rotate between your favorite wallpapers or your uploaded wallpapers on VelvetHarbor.  Which would "
        L"you like to use?",
        look::body};
    OptionButton optMemberFavorites{frmSourceTabs[0], {16, 64, 180, 20}, L"Favorite Wallpapers", true};
    Link lblFavoriteWhere{frmSourceTabs[0], {204, 64, 364, 20}, std::wstring(MemberSiteUrl) + L"YOU/favorites/"};
    OptionButton optMemberUploads{frmSourceTabs[0], {16, 98, 180, 20}, L"Uploaded Wallpapers"};
    Link lblUploadedWhere{frmSourceTabs[0], {204, 98, 364, 20}, std::wstring(MemberSiteUrl) + L"YOU/favorites/"};
    TipBox imgMemberBg{frmSourceTabs[0], {16, 148, 568, 84}};
    PictureBox imgMemberTabQuickTip{imgMemberBg, {12, 30, 24, 24}, "tip"};
    Label lblMemberTabQuickTip{imgMemberBg, {48, 8, 508, 68},
        L"The most common (and recommended) setting is to choose your own favorite wallpapers.  Then simply go to "
        L"VelvetHarbor, login, and when you find a wallpaper you like, add it to your favorites.  From then on, it'll be "
        L"in the pool of possible wallpapers for Quillory to use.",
        look::tip};

    // Wallpapers with a tag.
    Label lblTagTabInstructions{frmSourceTabs[1], {16, 14, 568, 50},
        L"Tags are a feature on Velvet Harbor that is used to connect similar wallpapers together.  If you find one or "
        L"more tags that interest you, enter them below seperated by commas and Quillory will rotate between backgrounds "
        L"marked with those tags.",
        look::body};
    Label lblEnterTag{frmSourceTabs[1], {16, 74, 80, 24}, L"Tag Name:", look::caption};
    TextBox txtTagName{frmSourceTabs[1], {100, 74, 340, 24}};
    Label lblTagExamples{frmSourceTabs[1], {100, 104, 484, 18},
        L"Examples: Love, Amber Tully, Yankees, Golden Retriever, etc.", look::quiet};
    TipBox imgTagBg{frmSourceTabs[1], {16, 148, 568, 84}};
    PictureBox imgTagQuickTip{imgTagBg, {12, 30, 24, 24}, "tip"};
    Label lblTagTabQuickTip{imgTagBg, {48, 8, 508, 68},
        L"If you're not seeing very many wallpapers in the rotation, try adding in a wildcard (*).  Foe example, dog* will "
        L"match dog, dogs, dog food, and anything else beginning with \"dog\".  B*ball will match both basketball and "
        L"baseball.  An asterick means \"any one or more characters here\".",
        look::tip};

    // A gallery and one of its categories.
    Label lblCategoryTabInstructions{frmSourceTabs[2], {16, 14, 568, 50},
        L"All wallpapers on Velvet Harbor are divided into galleries (broad) and categories (specific).  If you would like "
        L"Quillory to choose wallpapers from an entire gallery or category, choose it below.",
        look::body};
    Label lblGallery{frmSourceTabs[2], {16, 70, 80, 24}, L"Gallery:", look::caption};
    ComboBox cboGallery{frmSourceTabs[2], {100, 70, 280, 24}, {}, L"Loading..."};
    Label lblCategory{frmSourceTabs[2], {16, 104, 80, 24}, L"Category:", look::caption};
    ComboBox cboCategory{frmSourceTabs[2], {100, 104, 280, 24}, {}, L"Loading..."};
    TipBox imgCategoryBg{frmSourceTabs[2], {16, 148, 568, 84}};
    PictureBox imgCategoryQuickTip{imgCategoryBg, {12, 30, 24, 24}, "tip"};
    Label lblCategoryTabQuickTip{imgCategoryBg, {48, 8, 508, 68},
        L"Selecting both the \"All Galleries\" and \"All Categories\" options will rotate through every wallpaper on the "
        L"entire Velvet Harbor website.  Selecting a gallery and the \"All Categories\" option for a category will rotate "
        L"between all wallpapers within that gallery.",
        look::tip};

    Button picOptions{*this, {20, 468, 100, 36}, "button-quiet", L"Options", look::quietButton};
    Button picExit{*this, {128, 468, 100, 36}, "button-quiet", L"Exit", look::quietButton};
    Button picSave{*this, {430, 468, 190, 36}, "button-lamp-wide", L"Save and Minimize", look::lampButton};
    CloseMark picCloseX{*this, {610, 10, 20, 20}};

    // Never seen: a picture on its way from one place to another, and the button behind the Return key.
    PictureBox picBuff{*this, {0, 0, 0, 0}};
    CommandButton cmdSaveMin{*this, {-400, 0, 190, 25}, L"Default (Return) Save and Minimize", true};

    TimerControl tmrMain{*this, 1000, true};

    FrmMain();
    void Form_Load();
    void Form_Unload(std::int16_t& Cancel);
    void tmrMain_Timer();
    void exitQuillory(bool confirmed);
    void unMinimize();

    void picSourceTabs_Click(std::int16_t Index);
    void picSave_Click();
    void picExit_Click();
    void picOptions_Click();
    void picMainTopLogo_Click();
    void lblFavoriteWhere_Click();
    void lblUploadedWhere_Click();
    void optMemberFavorites_Click();
    void optMemberUploads_Click();
    void cboGallery_Click();
    void cboGallery_KeyDown();
    void cboGallery_KeyUp();
    void cboGallery_Validate(bool& Cancel);
    void cboCategory_KeyDown();
    void cboCategory_KeyUp();
    void cboCategory_Validate(bool& Cancel);

private:
    bool validateTagName();
    void refuseTag(const std::wstring& text, const std::wstring& title);
    void forgetCategoryOfOtherGallery();

    HeaderDrag drag{*this, picHeaderBg, lblHeaderTitle};
    std::wstring lastTagName; // the last tag text that passed the check
};
extern AutoForm<FrmMain> frmMain;

/// Loads the main window. A start that fails half way, as without a network library, ends the process with a box: what
/// would go on could not even be ended by its user.
void startQuillory();
