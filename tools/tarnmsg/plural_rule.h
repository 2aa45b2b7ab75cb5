/// \file
/// The rule of a language that says which plural form goes with a number, as the Plural-Forms line of a
/// catalogue has it: "nplurals=2; plural=(n != 1);".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnmsg {

class PluralRule {
public:
    /// Why a rule cannot be read, and where in it.
    struct Error {
        std::size_t position;
        std::string message;
    };

    /// Reads the value of the line. The expression has the operators of C that gettext allows; only numbers
    /// can divide. Throws an `Error`, also if a number up to 1000 has a form that does not exist.
    static PluralRule Parse(std::string_view text);
    /// Whether the value is that of a template, which nobody has filled in yet.
    static bool IsUnfilled(std::string_view text);
    /// The rule of the languages in which 1 alone is singular; `msgid` and `msgid_plural` follow it.
    static PluralRule OfOriginals() { return Parse("nplurals=2; plural=n != 1;"); }

    int NumberOfForms() const { return formCount; }
    int FormOf(unsigned long long n) const;
    /// Whether the form goes with one number alone, at most, up to 1000.
    bool IsForOneNumber(int form) const;
    /// The rule as an expression of C++, of type `unsigned long long` and with a parameter `n`.
    std::string Source() const { return source(nodes.size() - 1); }

private:
    enum class TKind { kNumber, kParameter, kNot, kBinary, kChoice };

    // Its operands are before it.
    struct Node {
        TKind kind;
        unsigned long long number = 0;
        std::string_view sign = {}; // of a binary operator
        std::size_t operands[3] = {};
    };

    class Parser;

    int formCount = 0;
    std::vector<Node> nodes; // the last one is the whole

    unsigned long long evaluate(std::size_t node, unsigned long long n) const;
    std::string source(std::size_t node) const;
};

} // namespace tarnmsg
