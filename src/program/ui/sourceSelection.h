#pragma once

#include <cstdint>

/// The main window's choice of a source: its tabs, and the two combos that the gallery tree fills.

/// Shows the tab and its page and makes it the source, if there is such a tab; saves it in any case.
void toggleSourceTabs(std::int16_t Index);

/// Asks the service for the gallery tree; the combos wait, disabled.
void getGalleries();

/// Fills both combos of the main window from the gallery tree and enables them.
void updateCategoryList();
