#pragma once
// The core's texts as the widgets show them: its messages, captions and names are UTF-8; a
// document's own bytes, as reports and pages carry them, are ISO-8859-1.

#include <QString>
#include <string_view>

namespace vantorel {

inline QString Text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

inline QString Latin1(std::string_view latin1) {
    return QString::fromLatin1(latin1.data(), static_cast<qsizetype>(latin1.size()));
}

}  // namespace vantorel
