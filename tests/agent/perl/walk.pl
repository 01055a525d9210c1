#!/usr/bin/perl
# A walk with net-snmp's Perl module: walk.pl PORT COMMUNITY ROOT
#
# Prints a line a value: OID, type, value; octets are lower-case hex.
use strict;
use warnings;
use SNMP;

my ($port, $community, $root) = @ARGV;
my %types = (INTEGER => 'INTEGER', GAUGE => 'Gauge32', TICKS => 'TimeTicks', OCTETSTR => 'OCTETS');

$SNMP::use_numeric = 1;
my $session = SNMP::Session->new(DestHost => "127.0.0.1:$port", Community => $community, Version => 2,
  UseNumeric => 1, UseLongNames => 1, Timeout => 10_000_000, Retries => 0) or die "no session";
my ($rows) = $session->bulkwalk(0, 20, SNMP::VarList->new([$root]));
die $session->{ErrorStr} if $session->{ErrorNum};
for my $row (@$rows) {
  my ($name, $index, $value, $type) = @$row;
  my $oid = length $index ? "$name.$index" : $name;
  $value = unpack('H*', $value) if $type eq 'OCTETSTR';
  print "$oid $types{$type} $value\n";
}
