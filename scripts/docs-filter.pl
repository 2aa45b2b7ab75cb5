#!/usr/bin/perl
# Prepares a public header for Doxygen; no line moves. A comment is also that of the overloads, constants or objects
# that follow it at once, and members whose names mean the same in every class get the text below, unless they have a
# comment of their own. All else needs one, alone or in a group (///@{ ... ///@}), whose first comment is that of all.
use strict;
use warnings;

# The first part of a line is a pattern for the declaration without its body.
my $forTemplates = "as the standard library's templates ask for it.";
my @knownMembers = (
    [qr/^using \w+_(?:type|reference|pointer|iterator|category) =/, ucfirst $forTemplates],
    [qr/^using (?:reference|pointer|iterator|is_transparent) =/,    ucfirst $forTemplates],
    [qr/^[\w:<>&* ]+ begin\(\)/,                                    "The start of the range."],
    [qr/^[\w:<>&* ]+ end\(\)/,                                      "The end of the range."],
    [qr/^[\w:<>&* ]+ size\(\)/,                                     "`Size`, $forTemplates"],
    [qr/^[\w:<>&* ]+ empty\(\)/,                                    "`IsEmpty`, $forTemplates"],
    [qr/^[\w:<>&* ]+ operator(?:\*|->)\(\)/,                        "What it stands for."],
    [qr/^[\w:<>&* ]+ operator\+\+\(/,                               "Steps to the next one."],
    [qr/^[\w:<>&* ]+ operator--\(/,                                 "Steps to the one before."],
    [qr/^(?:constexpr )?(\w+)\(const \g1& ?\w*\)/,                  "A copy."],
    [qr/^(\w+)& operator=\(const \g1& ?\w*\)/,                      "Becomes a copy."],
    [qr/^(\w+)\(\g1&& ?\w*\)/,                                      "Takes over what the other object has."],
    [qr/^(\w+)& operator=\(\g1(?:&&)? \w*\)/,                       "Takes over what the other object has."],
    [qr/^using CStringOf::/,                                        "As in the base."],
    [qr/^void Swap\(\w+& \w+\) noexcept/,                           "Exchanges the contents."],
    [qr/^(?:constexpr )?int Size\(\) const/,                        "The number of elements."],
    [qr/\bbool IsEmpty\(\) const/,                                  "Whether there are no elements."],
    [qr/\boperator(?:==|<=>)\(/,                                    "Compares the values."],
);

# What a declaration shares with those to which its comment applies as well: the name of a function, or the kind.
sub sharedName {
    my ($text) = @_;
    return $1 if $text =~ /^(inline constexpr|extern)\b/ && $text !~ /\(.*\{/;
    return "" if $text =~ /^(?:using|enum|static_assert|typedef)\b/;
    while ($text =~ /(operator\s*(?:\(\)|\[\]|[^\s\w(]+|\w[\w:<> *&]*?)|~?\w+)\s*\(/g) {
        return $1 unless $1 =~ /^(?:requires|decltype|noexcept|sizeof|static_assert|alignas|__\w+)$/;
    }
    return "";
}

my ($comment, $isFresh, $commented) = ("", 0, "");    # the last comment; not used yet; what has it
my ($inGroup, $groupComment) = (0, "");
my @declaration;

# Writes the declaration with the comment that it needs.
sub writeDeclaration {
    my $text = join(" ", map { s{//.*}{}r =~ s/^\s+|\s+$//gr } @declaration);
    my $name = sharedName($text);
    my $given = "";
    if ($inGroup) {
        $groupComment = $comment if $groupComment eq "";
        $given = $groupComment unless $isFresh;
    } elsif ($isFresh || "@declaration" =~ m{///<} || $text =~ /= delete;$/) {
        $commented = $isFresh ? $name : "";
    } elsif ($name eq $commented && $name =~ /^(?:operator\W+(?<!r=)|inline constexpr|extern)$/) {
        $given = $comment;
    } elsif (my ($known) = grep { $text =~ $_->[0] } @knownMembers) {
        $given = $known->[1];
        $commented = "";
    } elsif ($name ne "" && $name eq $commented) {
        $given = $comment;
    } else {
        $commented = "";
    }
    $declaration[0] = "/** $given */ $declaration[0]" if $given ne "";
    print @declaration;
    @declaration = ();
    $isFresh = 0;
}

my $isMacro = 0;
while (<>) {
    if (!@declaration) {
        if ($isMacro || /^\s*#/) {
            $_ = "/** $comment */ $_" if $inGroup && !$isFresh && !$isMacro;
            ($isMacro, $isFresh) = (/\\$/, 0);
            print;
            next;
        }
        if (m!^\s*///@([{}])!) {
            $inGroup = $1 eq "{";
            ($isFresh, $commented, $groupComment) = (0, "", "");
            print "\n";
            next;
        }
        if (m!^\s*/// ?(.*)!) {
            $comment = $isFresh ? "$comment $1" : $1;
            $isFresh = 1;
            print;
            next;
        }
        if (/^\s*(?:\/\/.*|\}.*|(?:public|protected|private):)?$/) {
            ($isFresh, $commented) = (0, "");
            print;
            next;
        }
    }
    push @declaration, $_;
    my $text = join("", map { s{//.*}{}r } @declaration) =~ s/'.'|u?"(?:[^"\\]|\\.)*"//gr;
    my $open = () = $text =~ /[({]/g;
    my $closed = () = $text =~ /[)}]/g;
    if ($text =~ /^\s*(?:template<.*>\s*)?(?:requires.*)?(?:class|struct|union|namespace|extern)\b[^;]*\{\s*$/s
        && $text !~ /\(/) {
        print @declaration;
        @declaration = ();
        ($isFresh, $commented) = (0, "");
    } elsif ($open == $closed && $text =~ /[;\}]\s*$/) {
        writeDeclaration();
    }
}
print @declaration;
