#pragma once

#include <string>

/// Takes one complete answer of the service apart and hands what it carries to whoever acts on it.
void ParseXML(const std::wstring& body);

/// Tells the user, once, that the chosen source has no wallpaper; the rotation count stands still from then on.
void NoWallpapersExist();

/// Moves the program to the release behind `link`.
void upgradeQuillory(const std::wstring& link);
