#!/usr/bin/perl
# SPDX-License-Identifier: Apache-2.0
# The classes and enumerations of the contract as text, from the debug information of an object file that includes its headers:
# sizes, bases and members with offsets and types, the virtual functions that a class introduces with their slots and signatures.
#
#   readelf --debug-dump=info --wide contract.o | tools/interface_classes.pl
use strict;
use warnings;

my (@entries, %at, @open);
while (<>) {
  if (/^\s*<(\d+)><([0-9a-f]+)>: Abbrev Number: \d+ \(DW_TAG_(\w+)\)/) {
    my $entry = {tag => $3, depth => $1, children => []};
    $at{$2} = $entry;
    push @entries, $entry;
    $#open = $1 - 1;
    push @{$open[-1]{children}}, $entry if @open;
    $entry->{parent} = $open[-1] if @open;
    $open[$1] = $entry;
  } elsif (@entries && /DW_AT_(\w+)\s*:\s*(?:\([\w ]+\) )?(.*?)\s*$/) {
    my ($key, $value) = ($1, $2);
    if ($key eq 'type' || $key eq 'specification') { $value =~ s/^.*?<0x([0-9a-f]+)>.*$/$1/ }
    elsif ($key eq 'name') { $value =~ s/^(?:\(.*?offset: \w+\)|.*?offset: \w+\)):\s*//; $value =~ s/^\(.*?\): // }
    elsif ($key eq 'vtable_elem_location') { $value =~ s/^.*DW_OP_constu: (\d+)\)$/$1/ }
    else { $value =~ s/\s.*// }
    $entries[-1]{$key} //= $value;
  }
}

# The type that an entry refers to, as C++ would write it; aliases are looked through.
sub type_of {
  my $entry = shift;
  return 'void' unless defined $entry->{type};
  my $type = $at{$entry->{type}};
  my $tag = $type->{tag};
  return type_of($type) if $tag eq 'typedef';
  return type_of($type) . '*' if $tag eq 'pointer_type';
  return type_of($type) . '&' if $tag eq 'reference_type';
  return type_of($type) . '&&' if $tag eq 'rvalue_reference_type';
  return type_of($type) . ' const' if $tag eq 'const_type';
  return type_of($type) . ' volatile' if $tag eq 'volatile_type';
  return type_of($type) . join '', map {'[' . (defined $_->{upper_bound} ? $_->{upper_bound} + 1 : '') . ']'} @{$type->{children}}
    if $tag eq 'array_type';
  return type_of($type) . '(' . join(', ', map {type_of($_)} @{$type->{children}}) . ')' if $tag eq 'subroutine_type';
  return $type->{name} // "$tag of $type->{byte_size} bytes";
}

my (%class, %enumeration);
for my $entry (@entries) {
  next unless defined $entry->{name} && !defined $entry->{declaration};
  my $of = $entry->{parent} && $entry->{parent}{tag} =~ /class|structure/ ? "$entry->{parent}{name}::" : '';
  $class{$entry->{name}} //= $entry if $entry->{tag} =~ /^(class|structure)_type$/ && $entry->{name} =~ /^QV_/;
  $enumeration{"$of$entry->{name}"} //= $entry
    if $entry->{tag} eq 'enumeration_type' && ($of =~ /^QV/ || $entry->{parent}{tag} eq 'compile_unit');
}

sub bases { map {$_->{tag} eq 'inheritance' ? $at{$_->{type}} : ()} @{$_[0]{children}} }
sub signature {
  my @arguments = grep {$_->{tag} eq 'formal_parameter' && !$_->{artificial}} @{$_[0]{children}};
  return type_of($_[0]) . " $_[0]{name}(" . join(', ', map {type_of($_)} @arguments) . ')';
}
sub virtuals { grep {$_->{tag} eq 'subprogram' && defined $_->{vtable_elem_location} && $_->{name} !~ /^~/} @{$_[0]{children}} }
sub inherits {
  my ($class, $function) = @_;
  for my $base (bases($class)) {
    return 1 if grep {$_->{vtable_elem_location} == $function->{vtable_elem_location} && $_->{name} eq $function->{name}} virtuals($base);
    return 1 if inherits($base, $function);
  }
  return 0;
}

for my $name (sort keys %class) {
  my $class = $class{$name};
  print "class $name size $class->{byte_size}\n";
  for my $part (@{$class->{children}}) {
    printf "  %-4s base %s\n", $part->{data_member_location} // '?', type_of($part) if $part->{tag} eq 'inheritance';
    printf "  %-4s %s: %s\n", $part->{data_member_location}, $part->{name} // 'unnamed', type_of($part)
      if $part->{tag} eq 'member' && defined $part->{data_member_location};
  }
  printf "  [%s] %s\n", $_->{vtable_elem_location}, signature($_) for grep {!inherits($class, $_)} virtuals($class);
}
for my $name (sort keys %enumeration) {
  print "enumeration $name: ", type_of($enumeration{$name}), "\n";
  print "  $_->{name} = $_->{const_value}\n" for @{$enumeration{$name}{children}};
}
