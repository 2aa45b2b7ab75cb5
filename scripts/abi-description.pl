#!/usr/bin/perl
# Reduces what abidw writes about the library (an element to a line) to the lines that scripts/abi compares.
use strict;
use warnings;

my (%type, %result, %class, %exported);
my @open; # the elements around the present one: kind, attributes, and of a public class its description

sub attributes {
    my %attributes;
    while ($_[0] =~ /([\w-]+)='([^']*)'/g) {
        my ($name, $value) = ($1, $2);
        $value =~ s/&lt;/</g;
        $value =~ s/&gt;/>/g;
        $value =~ s/&amp;/&/g;
        $attributes{$name} = $value;
    }
    return \%attributes;
}

sub scoped_name {
    return join "::", (map { $_->{a}{name} } grep { $_->{kind} =~ /^(namespace|class|union)-decl$/ } @open), $_[0];
}

# describe ELEMENT: notes what it says about a type, an export or the layout of a class.
sub describe {
    my ($kind, $a) = @{$_[0]}{"kind", "a"};
    my $parent = $open[-1] // {kind => "", a => {}};
    my $owner = @open > 1 ? $open[-2]{class} : undef; # of a member
    $type{$a->{id}} = {kind => $kind, name => scoped_name($a->{name} // ""), of => $a->{"type-id"}} if $a->{id};
    if ($kind eq "elf-symbol") {
        # Weak ones are inline functions and what the compiler makes of them.
        $exported{$a->{name}} = 1 if $a->{binding} ne "weak" && $a->{"is-defined"} eq "yes";
    } elsif ($kind =~ /^(class|union)-decl$/) {
        my $name = scoped_name($a->{name});
        $_[0]{class} = $class{$name} //= {size => ($a->{"size-in-bits"} // 0) / 8, members => {}}
            if $name =~ /^Tarn::/ && ($a->{filepath} // "") =~ m{include/tarnkit/} && !$a->{"is-declaration-only"};
    } elsif ($kind eq "base-class" && $parent->{class}) {
        $parent->{class}{members}{sprintf "%5d base", $a->{"layout-offset-in-bits"} / 8} = $a->{"type-id"};
    } elsif ($kind eq "var-decl") {
        $result{$a->{"elf-symbol-id"}} = $a->{"type-id"} if $a->{"elf-symbol-id"};
        $owner->{members}{sprintf "%5d %s", $parent->{a}{"layout-offset-in-bits"} / 8, $a->{name}} = $a->{"type-id"}
            if $owner && defined $parent->{a}{"layout-offset-in-bits"};
    } elsif ($kind eq "function-decl" && $owner && defined $parent->{a}{"vtable-offset"}) {
        $owner->{members}{sprintf "virtual %3d %s", $parent->{a}{"vtable-offset"}, $a->{name}} = undef;
    } elsif ($kind eq "return" && $parent->{a}{"elf-symbol-id"}) {
        $result{$parent->{a}{"elf-symbol-id"}} = $a->{"type-id"};
    }
}

sub type_name {
    my $type = $type{$_[0]} or return "?";
    my $of = $type->{kind} =~ /^(pointer|reference|qualified)-type-def$/ ? type_name($type->{of}) : "";
    return {"pointer-type-def" => "$of*", "reference-type-def" => "$of&", "qualified-type-def" => "const $of",
            "function-type" => "function"}->{$type->{kind}} // $type->{name};
}

while (<>) {
    if (m{^\s*</}) {
        pop @open;
    } elsif (m{^\s*<([\w-]+)(.*?)(/?)>\s*$}) {
        my ($kind, $attributes, $is_empty) = ($1, $2, $3);
        my $element = {kind => $kind, a => attributes($attributes)};
        describe($element);
        push @open, $element unless $is_empty;
    }
}
foreach my $symbol (keys %exported) {
    print "export $symbol", defined $result{$symbol} ? " -> " . type_name($result{$symbol}) : "", "\n";
}
foreach my $name (keys %class) {
    print "class $name: $class{$name}{size} bytes\n";
    my $members = $class{$name}{members};
    print "class $name: $_", defined $members->{$_} ? " " . type_name($members->{$_}) : "", "\n" foreach keys %$members;
}
