#pragma once

#include <string>

#include "platform/Shell.h"

class Form;

/// The icon in the notification area. The record stays filled between calls: the tip's refresh and the removal use it
/// as it stands.
extern platform::NotifyIconData gTrayIcon;

/// Puts the form's icon into the notification area; mouse events over it arrive as mouse moves of the form's window.
void CreateSystrayIcon(Form& form, const std::wstring& tip);
void RemoveSystrayIcon();

/// Writes the tip into the record alone: 64 bytes, the text and a NUL, blanks behind; what is longer is cut.
void storeTip(const std::wstring& tip);
