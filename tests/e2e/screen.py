"""What a person sees: the pixels of the screen."""

from PIL import ImageChops, ImageDraw, ImageGrab


class Screen:
    def __init__(self, desktop):
        self.desktop = desktop

    def look(self):
        return ImageGrab.grab((0, 0, *self.desktop.size), xdisplay=self.desktop.display).convert("RGB")

    def part(self, place):
        left, top, width, height = place
        return self.look().crop((left, top, left + width, top + height))

    def desktop_shows(self, picture):
        """The picture stands pixel for pixel wherever no window covers the desktop."""
        windows = self.open_windows()
        seen = self.look()
        if windows != self.open_windows() or seen.size != picture.size:
            return False
        for image in (seen, picture := picture.copy()):
            draw = ImageDraw.Draw(image)
            for left, top, width, height in (window.place for window in windows):
                if width and height:
                    draw.rectangle((left, top, left + width - 1, top + height - 1), fill=0)
        return seen.tobytes() == picture.tobytes()

    def open_windows(self):
        return [window for window in self.desktop.probe.windows() if window.visible]

    def taskbar(self):
        return next((window for window in self.open_windows() if window.cls == "Shell_TrayWnd"), None)

    def tray_icon(self):
        """The middle of the icon in the notification area, and its picture; None without an icon.

        Icons are drawn from the right end of the taskbar, each in a square of the bar's height, and only Quillory has
        one on this desktop.
        """
        bar = self.taskbar()
        if not bar:
            return None
        left, top, width, height = bar.place
        square = self.part((left + width - height, top, height, height))
        if len(square.getcolors(height * height)) < 5:
            return None
        return (left + width - height // 2, top + height // 2), square


def furthest_difference(one, other):
    """The largest difference of two pictures of one size in any channel of any pixel."""
    return max(high for _, high in ImageChops.difference(one, other).getextrema())
