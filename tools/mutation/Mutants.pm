# SPDX-License-Identifier: Apache-2.0
# The small faults that tools/mutation_check puts into a model's text, one at a time:
#
#   my @mutants = Mutants::of_file('models/relief/psv_sw.h', $text, Mutants::choices($catalogue_text));
#   my $faulty = Mutants::apply($text, $mutants[0]);
#
# A mutant is {file, line, change, code, key, edits}: the change in words ("+ -> -"), the line of code without its margins, a key
# that stays the same while other lines change, and the edits as [offset, length, replacement], from the back to the front.
# The text is read token by token, not parsed: what does not compile afterwards is no mutant. Bodies of macros are text like any
# other.
package Mutants;

use strict;
use warnings;

my %arithmetic = ('+' => '-', '-' => '+', '*' => '/', '/' => '*');
my %at_the_limit = ('<' => '<=', '<=' => '<', '>' => '>=', '>=' => '>');
my %other_side = ('<' => '>', '<=' => '>=', '>' => '<', '>=' => '<=');
my %function = (sqrt => 'sqr', sqr => 'sqrt', exp => 'ln', ln => 'exp', log => 'exp', log10 => 'ln', tanh => 'sqr',
                abs => 'sqr', max => 'min', min => 'max', same => 'differs', differs => 'same', lower => 'upper', upper => 'lower');
my %name = (QV_SPEC_GIVEN => 'QV_SPEC_COMPUTED', QV_SPEC_COMPUTED => 'QV_SPEC_GIVEN', true => 'false', false => 'true');
# The lines that declare a property, by what stands in front of the bracket.
my %declares = map { $_ => 1 } qw(GLOBAL GLOBAL_OF EXTERNAL EXTERNAL_ARRAY VIRTUAL STRUCTURE_REFERENCE PARAMETER VARIABLE SET ARRAY ROW
                                  ARRAY_ROW SUBMODEL PORT STREAM CURVE_TABLE CURVE_ROW);
my %host_choice = (PH => 'TP', TP => 'PH', PS => 'PH', PV => 'TP', TV => 'TP', Yes => 'No', No => 'Yes');

# For each text of an option type the next one of the same type, from the rows OPTION(TYPE, default, texts...).
sub choices {
  my ($catalogue) = @_;
  my %next = %host_choice;
  while ($catalogue =~ /^OPTION\(\w+,\s*"[^"]*",(.*)\)/mg) {
    my @texts = $1 =~ /"([^"]*)"/g;
    $next{$texts[$_]} //= $texts[($_ + 1) % @texts] for 0 .. $#texts;
  }
  return \%next;
}

sub tokens_of {
  my ($text) = @_;
  my (@tokens, $line);
  $line = 1;
  pos($text) = 0;
  while (pos($text) < length $text) {
    my $start = pos $text;
    my $kind;
    if ($text =~ /\G(?:\s|\\\n)+/gc || $text =~ m{\G//[^\n]*}gc || $text =~ m{\G/\*.*?\*/}gcs ||
        $text =~ /\G^#define \w+(?:\([^)]*\))?/gcm || $text =~ /\G^#(?:[^\\\n]|\\.)*/gcms) { $kind = '' }
    elsif ($text =~ /\G"(?:[^"\\]|\\.)*"/gc) { $kind = 'text' }
    elsif ($text =~ /\G'(?:[^'\\]|\\.)'/gc) { $kind = 'character' }
    elsif ($text =~ /\G(?:\d[\d']*\.?\d*|\.\d+)(?:[eE][+-]?\d+)?/gc) { $kind = 'number' }
    elsif ($text =~ /\G[A-Za-z_]\w*/gc) { $kind = 'word' }
    elsif ($text =~ /\G(?:<=|>=|==|!=|&&|\|\||<<|>>|->\*|->|\.\.\.|\.\*|::|\+\+|--|[-+*\/]=)/gc) { $kind = 'sign' }
    else { $text =~ /\G./gcs; $kind = 'sign' }
    my $piece = substr $text, $start, pos($text) - $start;
    push @tokens, {kind => $kind, text => $piece, at => $start, line => $line} if $kind;
    $line += $piece =~ tr/\n//;
  }
  return @tokens;
}

my %closing = ('(' => ')', '[' => ']', '{' => '}');
my %opening = reverse %closing;

# Index of the bracket that belongs to the one at $i, forwards or backwards; -1 without one.
sub partner {
  my ($tokens, $i) = @_;
  my $step = $closing{$tokens->[$i]{text}} ? 1 : -1;
  my $depth = 0;
  for (; $i >= 0 && $i < @$tokens; $i += $step) {
    next if $tokens->[$i]{kind} ne 'sign';
    $depth += $step if $closing{$tokens->[$i]{text}};
    $depth -= $step if $opening{$tokens->[$i]{text}};
    return $i if $depth == 0;
  }
  return -1;
}

# First token of the factor that ends at $i, last token of the factor that begins at $i: a number, a name with its members, calls
# and indices, or a bracket. -1 for anything else.
sub factor_begin {
  my ($tokens, $i) = @_;
  while ($i >= 0) {
    my $token = $tokens->[$i];
    if ($token->{text} =~ /^[)\]]$/) {
      $i = partner($tokens, $i);
      return $i if $i <= 0 || !($tokens->[$i - 1]{kind} eq 'word' || $tokens->[$i - 1]{text} =~ /^[)\]]$/);
      $i--;
    } elsif ($token->{kind} eq 'number') {
      return $i;
    } elsif ($token->{kind} eq 'word') {
      return -1 if $token->{text} eq 'return';
      return $i if $i == 0 || $tokens->[$i - 1]{text} !~ /^(?:\.|->|::)$/;
      $i -= 2;
    } else {
      return -1;
    }
  }
  return -1;
}
sub factor_end {
  my ($tokens, $i) = @_;
  return $i if $tokens->[$i]{kind} eq 'number';
  return partner($tokens, $i) if $tokens->[$i]{text} eq '(';
  return -1 if $tokens->[$i]{kind} ne 'word';
  while ($i + 1 < @$tokens) {
    my $next = $tokens->[$i + 1]{text};
    if ($next =~ /^[(\[]$/) { $i = partner($tokens, $i + 1) }
    elsif ($next =~ /^(?:\.|->|::)$/) { $i += 2 }
    else { last }
  }
  return $i;
}

# The operands of - or / at $i as [first, last] twice, where swapping them is a change of this operator alone.
sub operands {
  my ($tokens, $i) = @_;
  my $product = $tokens->[$i]{text} eq '/';
  my $first = factor_begin($tokens, $i - 1);
  while (!$product && $first > 0 && $tokens->[$first - 1]{text} =~ m{^[*/]$}) { $first = factor_begin($tokens, $first - 2) }
  return if $first < 0;
  my $before = $first > 0 ? $tokens->[$first - 1]{text} : '';
  return if $before eq '-' || $before eq '/';
  my $last = factor_end($tokens, $i + 1);
  while (!$product && $last >= 0 && $last + 2 < @$tokens && $tokens->[$last + 1]{text} =~ m{^[*/]$}) {
    $last = factor_end($tokens, $last + 2);
  }
  return if $last < 0;
  return ([$first, $i - 1], [$i + 1, $last]);
}

# Index of the bracket that is open at $i; 0 if none is.
sub enclosing {
  my ($tokens, $i) = @_;
  my $depth = 0;
  while (--$i > 0) {
    next if $tokens->[$i]{kind} ne 'sign';
    $depth++ if $opening{$tokens->[$i]{text}};
    return $i if $closing{$tokens->[$i]{text}} && --$depth < 0;
  }
  return 0;
}

sub one_percent_more {
  my ($number) = @_;
  return '1.0' if $number == 0;
  my $more = sprintf '%.15g', 1.01 * $number;
  return $more =~ /[.e]/ ? $more : "$more.0";
}

# All mutants of a file, in the order of its text.
sub of_file {
  my ($file, $text, $choices) = @_;
  my @tokens = tokens_of($text);
  my @lines = split /\n/, $text;
  my (@mutants, %seen);
  my $span = sub {  # text from token to token
    my ($first, $last) = @_;
    return substr $text, $tokens[$first]{at}, $tokens[$last]{at} + length($tokens[$last]{text}) - $tokens[$first]{at};
  };
  my $add = sub {
    my ($token, $change, @edits) = @_;
    (my $code = $lines[$token->{line} - 1]) =~ s/^\s+|\s+$//g;
    $code =~ s/\s+/ /g;
    my $key = "$file | $change | $code";
    my $count = ++$seen{$key};
    $key .= " | $count" if $count > 1;
    push @mutants, {file => $file, line => $token->{line}, change => $change, code => $code, key => $key,
                    edits => [sort { $b->[0] <=> $a->[0] } @edits]};
  };
  my $replace = sub {
    my ($token, $by) = @_;
    $add->($token, "$token->{text} -> " . ($by eq '' ? 'nothing' : $by), [$token->{at}, length $token->{text}, $by]);
  };
  my $exchange = sub {
    my ($token, $what, $one, $other) = @_;
    my ($a, $b) = ($span->(@$one), $span->(@$other));
    return if $a eq $b;
    $add->($token, $what, [$tokens[$one->[0]]{at}, length $a, $b], [$tokens[$other->[0]]{at}, length $b, $a]);
  };

  # The types that properties of this kind have in the file, each once.
  my %types;
  for my $i (0 .. $#tokens - 2) {
    my ($kind, $type) = ($tokens[$i]{text}, $tokens[$i + 2]{text});
    push @{$types{$kind}}, $type if $declares{$kind} && $type =~ /^QV_/ && !grep { $_ eq $type } @{$types{$kind}};
  }

  for my $i (1 .. $#tokens - 1) {
    my ($token, $before, $after) = ($tokens[$i], $tokens[$i - 1], $tokens[$i + 1]);
    my $t = $token->{text};
    # The formatter sets spaces around operators of two operands, and around nothing else that looks like them.
    my $end_before = $before->{at} + length $before->{text};
    my $binary = $end_before < $token->{at} && $after->{at} > $token->{at} + length($t) &&
                 ($before->{kind} ne 'sign' || $before->{text} =~ /^[)\]]$/) && $before->{text} ne 'operator';
    if ($token->{kind} eq 'sign' && $binary) {
      $replace->($token, $arithmetic{$t}) if $arithmetic{$t} && $before->{kind} ne 'text' && $after->{kind} ne 'text';
      if ($t eq '-' || $t eq '/') {
        my @both = operands(\@tokens, $i);
        $exchange->($token, "a $t b -> b $t a", @both) if @both;
      }
      $replace->($token, $at_the_limit{$t}) if $at_the_limit{$t};
      $replace->($token, $other_side{$t}) if $other_side{$t};
      $replace->($token, $t eq '&&' ? '||' : '&&') if $t eq '&&' || $t eq '||';
      if ($t eq '==') {
        my $open = enclosing(\@tokens, $i);
        if ($tokens[$open]{text} eq '(' && $tokens[$open - 1]{text} eq 'eq') {
          my $close = partner(\@tokens, $open);
          my $right = $span->($i + 1, $close - 1);
          $add->($token, 'right side times -1', [$after->{at}, length $right, "-1.0 * ($right)"]) if $right ne '0';
        } else {
          $replace->($token, '!=');
        }
      }
      $replace->($token, '==') if $t eq '!=';
    } elsif ($t eq '-' && $before->{kind} eq 'sign' && $before->{text} !~ /^[)\]]$/) {
      $add->($token, 'minus dropped', [$token->{at}, 1, '']);
    } elsif ($t eq '!') {
      $add->($token, 'not dropped', [$token->{at}, 1, '']);
    } elsif ($token->{kind} eq 'number') {
      if ($t =~ /[.eE]/) {
        $replace->($token, one_percent_more($t));
        $replace->($token, "-$t") if $t != 0 && $before->{text} ne '-';
      } else {
        (my $value = $t) =~ s/'//g;
        $replace->($token, $value + 1);
      }
    } elsif ($token->{kind} eq 'text') {
      my $other = $choices->{substr $t, 1, -1};
      my $open = enclosing(\@tokens, $i);
      # Descriptions in property lines, and labels.
      next if $open > 0 && ($tokens[$open - 1]{text} =~ /^[A-Z_]+$/ || $i == $open + 1 && $tokens[$open - 1]{text} =~ /^(?:eq|given|orGiven)$/);
      $replace->($token, "\"$other\"") if defined $other;
    } elsif ($token->{kind} eq 'word') {
      my $called = $after->{text} eq '(';
      if ($declares{$t} && $called) {
        my $type = $tokens[$i + 2];
        my @types = @{$types{$t} // []};
        my ($at) = grep { $types[$_] eq $type->{text} } 0 .. $#types;
        $add->($type, "type $types[$at] -> $types[($at + 1) % @types]",
               [$type->{at}, length $type->{text}, $types[($at + 1) % @types]]) if defined $at && @types > 1;
        my $close = partner(\@tokens, $i + 1);
        my $next = $close + 1;
        $exchange->($token, 'properties exchanged', [$i, $close], [$next, partner(\@tokens, $next + 1)])
            if $next < $#tokens && $declares{$tokens[$next]{text}} && $tokens[$next + 1]{text} eq '(';
      }
      $replace->($token, $function{$t}) if $called && $function{$t} && $before->{kind} ne 'word';
      $replace->($token, $name{$t}) if $name{$t} && !$called;
      $add->($token, 'is -> is not', [$token->{at}, 0, '!'])
          if $called && $t eq 'is' && $before->{text} ne '!' && $before->{text} !~ /^(?:\.|->)$/;
      if ($called && $t eq 'pow') {
        my $close = partner(\@tokens, $i + 1);
        my ($depth, $comma) = (0, -1);
        for my $k ($i + 2 .. $close - 1) {
          next if $tokens[$k]{kind} ne 'sign';
          $depth++ if $closing{$tokens[$k]{text}};
          $depth-- if $opening{$tokens[$k]{text}};
          $comma = $k if $depth == 0 && $tokens[$k]{text} eq ',';
        }
        $exchange->($token, 'a ^ b -> b ^ a', [$i + 2, $comma - 1], [$comma + 1, $close - 1]) if $comma > 0;
      }
    }
  }
  return @mutants;
}

sub apply {
  my ($text, $mutant) = @_;
  substr($text, $_->[0], $_->[1]) = $_->[2] for @{$mutant->{edits}};
  return $text;
}

1;
