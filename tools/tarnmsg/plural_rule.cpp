#include "tools/tarnmsg/plural_rule.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace tarnmsg {

namespace {

constexpr int kMostForms = 16;
constexpr std::size_t kMostNodes = 200;
constexpr int kDeepest = 50;
constexpr unsigned long long kLargestNumber = 1'000'000'000;
constexpr int kLargestTried = 1000;

// From those that bind least to those that bind most; a longer sign comes before its beginning.
constexpr std::string_view kSigns[][4] = {{"||"},     {"&&"},         {"==", "!="}, {"<=", ">=", "<", ">"},
                                          {"+", "-"}, {"*", "/", "%"}};
constexpr int kLevels = static_cast<int>(std::size(kSigns));

bool isTruth(std::string_view sign) {
    return sign != "+" && sign != "-" && !sign.starts_with('*') && sign != "/" && sign != "%";
}

unsigned long long calculate(std::string_view sign, unsigned long long a, unsigned long long b) {
    switch (sign[0]) {
    case '|':
        return a != 0 || b != 0;
    case '&':
        return a != 0 && b != 0;
    case '=':
        return a == b;
    case '!':
        return a != b;
    case '<':
        return sign.size() == 2 ? a <= b : a < b;
    case '>':
        return sign.size() == 2 ? a >= b : a > b;
    case '+':
        return a + b;
    case '-':
        return a - b;
    case '*':
        return a * b;
    case '/':
        return a / b;
    default:
        return a % b;
    }
}

} // namespace

// Recursive descent; each function leaves its node, and returns the node's place.
class PluralRule::Parser {
public:
    explicit Parser(std::string_view value) : text(value) {}

    PluralRule Parse() {
        const std::size_t count = positionBehind("nplurals");
        position = count;
        rule.formCount = static_cast<int>(readNumber("the number after nplurals="));
        if (rule.formCount < 1 || rule.formCount > kMostForms)
            throw Error{count, "nplurals is not a number from 1 to " + std::to_string(kMostForms)};
        position = positionBehind("plural");
        choice();
        skipSpace();
        if (position < text.size() && text[position] != ';')
            fail("an operator or a semicolon is missing");
        for (unsigned n = 0; n <= kLargestTried; n++)
            if (rule.evaluate(rule.nodes.size() - 1, n) >= static_cast<unsigned>(rule.formCount))
                fail("the form for " + std::to_string(n) + " is not below nplurals");
        return std::move(rule);
    }

private:
    std::string_view text;
    std::size_t position = 0;
    int depth = 0;
    PluralRule rule;

    [[noreturn]] void fail(const std::string& message) const { throw Error{position, message}; }

    void skipSpace() {
        while (position < text.size() && std::isspace(static_cast<unsigned char>(text[position])) != 0)
            position++;
    }

    bool takes(std::string_view sign) {
        skipSpace();
        if (!text.substr(position).starts_with(sign))
            return false;
        position += sign.size();
        return true;
    }

    // The place behind "name=", where the name is not the end of a longer one.
    std::size_t positionBehind(std::string_view name) {
        for (std::size_t start = text.find(name); start != std::string_view::npos;
             start = text.find(name, start + 1)) {
            position = start + name.size();
            const bool isWhole = start == 0 || std::isalpha(static_cast<unsigned char>(text[start - 1])) == 0;
            if (isWhole && takes("="))
                return position;
        }
        throw Error{0, "there is no " + std::string(name) + "="};
    }

    unsigned long long readNumber(const std::string& what) {
        skipSpace();
        const std::size_t start = position;
        unsigned long long number = 0;
        for (; position < text.size() && text[position] >= '0' && text[position] <= '9'; position++)
            number = std::min(number * 10 + static_cast<unsigned>(text[position] - '0'), kLargestNumber + 1);
        if (position == start)
            fail(what + " is missing");
        if (number > kLargestNumber)
            fail(what + " is too large");
        return number;
    }

    std::size_t add(const Node& node) {
        if (rule.nodes.size() == kMostNodes)
            fail("the rule is too long");
        rule.nodes.push_back(node);
        return rule.nodes.size() - 1;
    }

    std::size_t choice() {
        if (++depth > kDeepest)
            fail("the rule is nested too deeply");
        std::size_t node = binary(0);
        if (takes("?")) {
            const std::size_t ifTrue = choice();
            if (!takes(":"))
                fail("the colon after '?' is missing");
            node = add({TKind::kChoice, 0, {}, {node, ifTrue, choice()}});
        }
        depth--;
        return node;
    }

    std::size_t binary(int level) {
        if (level == kLevels)
            return unary();
        std::size_t left = binary(level + 1);
        for (std::string_view sign = takeSign(level); !sign.empty(); sign = takeSign(level)) {
            const std::size_t right = binary(level + 1);
            const Node& divisor = rule.nodes[right];
            if ((sign == "/" || sign == "%") && (divisor.kind != TKind::kNumber || divisor.number == 0))
                fail("only a number other than 0 can divide");
            left = add({TKind::kBinary, 0, sign, {left, right}});
        }
        return left;
    }

    std::string_view takeSign(int level) {
        for (const std::string_view sign : kSigns[level])
            if (!sign.empty() && takes(sign))
                return sign;
        return {};
    }

    std::size_t unary() {
        if (takes("!")) {
            if (++depth > kDeepest)
                fail("the rule is nested too deeply");
            const std::size_t operand = unary();
            depth--;
            return add({TKind::kNot, 0, {}, {operand}});
        }
        if (takes("n"))
            return add({TKind::kParameter});
        if (!takes("("))
            return add({TKind::kNumber, readNumber("n, a number or a parenthesis")});
        const std::size_t node = choice();
        if (!takes(")"))
            fail("a closing parenthesis is missing");
        return node;
    }
};

PluralRule PluralRule::Parse(std::string_view text) { return Parser(text).Parse(); }

bool PluralRule::IsUnfilled(std::string_view text) {
    return text.find("INTEGER") != std::string_view::npos &&
           text.find("EXPRESSION") != std::string_view::npos;
}

unsigned long long PluralRule::evaluate(std::size_t place, unsigned long long n) const {
    const Node& node = nodes[place];
    const auto operand = [&](int index) { return evaluate(node.operands[index], n); };
    switch (node.kind) {
    case TKind::kNumber:
        return node.number;
    case TKind::kParameter:
        return n;
    case TKind::kNot:
        return operand(0) == 0;
    case TKind::kBinary:
        return calculate(node.sign, operand(0), operand(1));
    default:
        return operand(0) != 0 ? operand(1) : operand(2);
    }
}

int PluralRule::FormOf(unsigned long long n) const {
    const auto last = static_cast<unsigned long long>(formCount - 1);
    return static_cast<int>(std::min(evaluate(nodes.size() - 1, n), last));
}

bool PluralRule::IsForOneNumber(int form) const {
    int count = 0;
    for (unsigned n = 0; n <= kLargestTried; n++)
        count += FormOf(n) == form ? 1 : 0;
    return count <= 1;
}

std::string PluralRule::source(std::size_t place) const {
    const Node& node = nodes[place];
    const auto operand = [&](int index) { return source(node.operands[index]); };
    const auto truth = [](const std::string& condition) { return "(" + condition + " ? 1ULL : 0ULL)"; };
    switch (node.kind) {
    case TKind::kNumber:
        return std::to_string(node.number) + "ULL";
    case TKind::kParameter:
        return "n";
    case TKind::kNot:
        return truth(operand(0) + " == 0");
    case TKind::kBinary: {
        const bool isLogical = node.sign == "||" || node.sign == "&&";
        const std::string test = isLogical ? " != 0" : "";
        const std::string text = operand(0) + test + " " + std::string(node.sign) + " " + operand(1) + test;
        return isTruth(node.sign) ? truth(text) : "(" + text + ")";
    }
    default:
        return "(" + operand(0) + " != 0 ? " + operand(1) + " : " + operand(2) + ")";
    }
}

} // namespace tarnmsg
