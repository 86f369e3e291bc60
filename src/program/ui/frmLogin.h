#pragma once

#include "platform/Toolkit.h"
#include "ui/Chrome.h"
#include "ui/Look.h"

/// The login window, and what follows from a login: LoginSuccess brings up the running state.
struct FrmLogin : Form {
    Backdrop imgLoginBg{*this, {0, 40, 440, 280}, "login-bg"};
    Backdrop picHeaderBg{*this, {0, 0, 440, 40}, "header-440"};
    PictureBox imgMark{*this, {10, 8, 24, 24}, "mark"};
    Label lblHeaderTitle{*this, {42, 8, 350, 24}, L"Quillory Account Login", look::title};

    Label lblLoginInstructions{*this, {20, 58, 214, 66},
        L"To begin, please login with your VelvetHarbor account.  This will allow Quillory to personalize your "
        L"experience.",
        look::body};
    std::array<Label, 2> lblLabels{{
        {*this, {20, 130, 212, 18}, L"Username:", look::body},
        {*this, {20, 184, 212, 18}, L"Password:", look::body},
    }};
    TextBox txtUserName{*this, {20, 150, 212, 24}};
    TextBox txtPassword{*this, {20, 204, 212, 24}, {}, L'*'};
    Button picLoginSubmit{*this, {20, 250, 150, 36}, "button-lamp", L"Login", look::lampButton};

    PictureBox imgVerticalLine{*this, {244, 70, 1, 200}, "vertical-line"};
    LinkPicture picNewAccount{*this, {256, 62, 170, 150}, "link-new-account", L"Register"};
    Label lblLoginInstructionsTwo{*this, {256, 226, 170, 50}, L"Register in seconds! It's quick and easy! ", look::centred};
    CloseMark picCloseX{*this, {410, 10, 20, 20}};

    // Never seen: the button behind the Return key.
    CommandButton cmdLogin{*this, {-400, 0, 80, 25}, L"Login", true};

    FrmLogin();
    void Form_Unload(std::int16_t& Cancel);
    void EnableLogin();
    void DisableLogin();
    void LoginSuccess();

    void cmdLogin_Click();
    void picNewAccount_Click();
    void picCloseX_Click();
    void txtPassword_GotFocus();

private:
    HeaderDrag drag{*this, picHeaderBg, lblHeaderTitle};
};
extern AutoForm<FrmLogin> frmLogin;
