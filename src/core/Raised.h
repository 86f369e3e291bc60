#pragma once

/// Keeps a flag true for as long as it lives: what is under way, and may be met again from a nested message loop.
class Raised {
public:
    explicit Raised(bool& raised) : flag(raised) { flag = true; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;
    ~Raised() { flag = false; }

private:
    bool& flag;
};
