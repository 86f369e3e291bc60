#include "platform/headless/State.h"
#include "program/ProgramTest.h"

namespace {

/// The window rests on the taskbar's top in every frame, to the pixel; a taskbar at a side takes no height, and one at
/// the top is stood off by its height all the same.
TEST_F(ProgramTest, TheNoticeRestsAboveATaskbarAtAnySide) {
    struct Case {
        platform::Rect area;
        std::int32_t bottom; // where the window's lower edge is, in pixels
    };
    const Case cases[] = {{{0, 0, 1920, 1040}, 1040},
                          {{0, 40, 1920, 1080}, 1040},
                          {{60, 0, 1920, 1080}, 1080},
                          {{0, 0, 1860, 1080}, 1080}};
    // Windows that the system scales stand in other pixels than the screen's own.
    headless::state.screen = {3840, 2160};
    headless::state.desktop = {1920, 1080};
    for (const std::int32_t dpi : {96, 120, 144, 192}) {
        for (const Case& c : cases) {
            headless::state.dpi = dpi;
            headless::state.workArea = c.area;
            frmSlideMessage.discard();
            frmSlideMessage.Load();
            const auto window = frmSlideMessage.operator->();
            window->tmrSlide.Enabled = false; // the test is the clock
            int visible = 0;
            for (int i = 0; i < 849; ++i) {
                window->tmrSlide.Timer();
                if (window->Height <= 0) continue;
                ++visible;
                const double lower = (window->Top + window->Height) / screen::TwipsPerPixelY();
                EXPECT_NEAR(lower, c.bottom, 1e-6) << "firing " << i << " at " << dpi;
            }
            EXPECT_GT(visible, 800);
            EXPECT_TRUE(frmSlideMessage.isLoaded());
        }
    }
}

} // namespace
