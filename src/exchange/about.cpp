#include "exchange/about.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>

#include "exchange/xml_reader.h"
#include "render/gif_image.h"
#include "storage/password.h"
#include "storage/vantorel_database.h"

namespace vantorel {
namespace {

std::string Pcre2Version() {
    std::array<char, 64> version{};
    pcre2_config(PCRE2_CONFIG_VERSION, version.data());
    return version.data();
}

}  // namespace

std::string CreditsText(std::string_view qtVersion) {
    std::string text =
        "Copyright 2026 The Vantorel Authors\n"
        "Licensed under the Apache License, Version 2.0.\n"
        "\n"
        "Uses:\n";
    text += "Qt " + std::string(qtVersion) + " (LGPL-3.0)\n";
    text += "libsodium " + SodiumVersion() + " (ISC)\n";
    text += "giflib " + GifLibVersion() + " (MIT)\n";
    text += "expat " + ExpatVersion() + " (MIT)\n";
    text += "PCRE2 " + Pcre2Version() + " (BSD-3-Clause)\n";
    text += "the C++ standard library of GCC (GPL-3.0 with the runtime library exception)\n";
    return text;
}

std::string AboutText(std::string_view qtVersion) {
    return "Vantorel " + std::string(kProductVersion) + " (build " + std::to_string(kProductBuild) +
           ")\n\n" + CreditsText(qtVersion);
}

}  // namespace vantorel
