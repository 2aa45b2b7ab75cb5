/// \file
/// The message compiler's errors and warnings: one line each on the standard error stream, after the file and
/// line they are about.
#pragma once

#include "tools/tarnmsg/unicode.h"

#include <iostream>
#include <string>

namespace tarnmsg {

/// A place in a catalogue; lines count from 1.
struct Place {
    std::string file;
    int line = 0;
};

class Diagnostics {
public:
    void Error(const Place& place, const std::string& message) {
        print(place, message);
        errors++;
    }
    void Warning(const Place& place, const std::string& message) { print(place, "warning: " + message); }

    bool HasErrors() const { return errors > 0; }
    int NumberOfErrors() const { return errors; }

private:
    int errors = 0;

    static void print(const Place& place, const std::string& message) {
        std::cerr << Visible(place.file) << ':' << place.line << ": " << Visible(message) << '\n';
    }
};

} // namespace tarnmsg
