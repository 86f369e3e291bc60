#pragma once

#include <type_traits>
#include <utility>

/// What of a form or control has changed; tells the window's peer what to bring up to date.
enum class Aspect { text, value, visible, enabled, place, picture, list, locked, selection, pointer, windowState };

/// Whoever has properties: is told when one was assigned.
class Propertied {
public:
    Propertied() = default;
    Propertied(const Propertied&) = delete;
    Propertied& operator=(const Propertied&) = delete;
    virtual void changed(Aspect aspect) = 0;

protected:
    ~Propertied() = default;
};

/// A value of a form or control. Reads as the value; an assignment also reaches the window on the screen, if there is
/// one. `refuse`, where given, raises for a value that the property cannot take.
template <class T> class Property {
public:
    Property(Propertied& of, Aspect what, T initial, void (*check)(const T&) = nullptr)
        : owner(of), aspect(what), value(std::move(initial)), refuse(check) {}
    Property(const Property&) = delete;

    const T& operator()() const { return value; }
    operator const T&() const { return value; } // NOLINT: a property reads as its value

    Property& operator=(T assigned) {
        if (refuse) refuse(assigned);
        value = std::move(assigned);
        owner.changed(aspect);
        return *this;
    }
    Property& operator=(const Property& other) { return *this = other.value; }

    /// Takes over what the person did to the window on the screen, which therefore needs no telling.
    void adopt(T seen) { value = std::move(seen); }

    friend bool operator==(const Property& property, const T& other)
        requires(!std::is_arithmetic_v<T>)
    {
        return property.value == other;
    }

private:
    Propertied& owner;
    Aspect aspect;
    T value;
    void (*refuse)(const T&);
};
