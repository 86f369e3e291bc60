#pragma once

#include <cstdint>
#include <string>

struct RunTimeError;

/// The door of the windows: what they do for the rest of the program, so that only who reads or sets their controls has
/// to know them. Each function is defined in the unit of the window it is about.

/// Lets a notice rise, with a heading and a text of its own.
void showNotice(const std::wstring& title, const std::wstring& text);

/// The same for an error that a function has trapped.
void slideError(const std::wstring& where, const RunTimeError& error);

/// Stops the program's one clock, and with it the scheduler, until the program is started again.
void stopClock();

/// Hides the main window and puts the icon into the tray; tells an account about it once.
void minimizeToTray();

/// Puts the account's name, as the service spells it, into the login window.
void showUserName(const std::wstring& name);

/// Brings the whole running state up for the account that has just logged in.
void LoginSuccess();

// The choice of a source in the main window (sourceSelection.cpp)

/// Shows the tab and its page and makes it the source, if there is such a tab; saves it in any case.
void toggleSourceTabs(std::int16_t Index);

/// Asks the service for the gallery tree; the combos wait, disabled.
void getGalleries();

/// Fills both combos of the main window from the gallery tree and enables them.
void updateCategoryList();
