#include "core/Strings.h"

Strings split(const std::wstring& text, const std::wstring& separator) {
    Strings pieces;
    std::size_t start = 0;
    for (std::size_t found; (found = text.find(separator, start)) != std::wstring::npos;
         start = found + separator.size())
        pieces.push_back(text.substr(start, found - start));
    pieces.push_back(text.substr(start));
    return pieces;
}

std::wstring join(const Strings& pieces, const std::wstring& separator) {
    std::wstring text;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) text += separator;
        text += pieces[i];
    }
    return text;
}
