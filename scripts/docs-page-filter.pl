#!/usr/bin/perl
# Prepares a page for Doxygen; no line moves. Gives headings the anchors by which other pages link to them, and turns
# links between the repository's files into links between the reference's pages.
use strict;
use warnings;

my ($page) = $ARGV[0] =~ m{(\w+)\.md$};
my ($isCode, %anchors) = (0);

# A link to a file, or into one, as Doxygen writes it; the name of the file where the reference does not have it.
sub linkTo {
    my ($text, $file, $anchor) = @_;
    my $linked = $file eq "" ? $page : $file =~ m{(\w+)\.md$} ? $1 : "";
    return "[$text](\@ref " . ($anchor ? "page-$linked-$anchor" : $linked eq "README" ? "index" : "page-$linked") . ")"
        if $linked ne "";
    return "[$text](\@ref $1)" if $file =~ m{include/tarnkit/(\w+\.h)$};
    return "$text (`" . ($file =~ s{^\.\./}{}r) . "`)";
}

while (<>) {
    $isCode = !$isCode if /^\s*```/;
    if (!$isCode) {
        if (/^(#+) (.*)/) {
            my ($level, $title) = (length $1, $2);
            my $anchor = "page-$page";
            $anchor .= "-" . lc($title =~ s/[^\w -]//gr) =~ s/ /-/gr if $level > 1;
            s/$/ {#$anchor}/ unless $anchors{$anchor}++;
        }
        s{!\[([^][]*)\]\([\w./-]*?([\w.-]+)\)}{!\[$1\]\($2\)}g; # found in the folder of images
        s{(?<!!)\[([^][]*)\]\((?!https?:)([\w./-]*)(?:#([\w-]+))?\)}{linkTo($1, $2, $3)}ge;
    }
    print;
}
