#!/usr/bin/perl
# Perl DBI with DBD::ODBC: the process's memory stays flat over 100,000
# executions and 10,000 connections through the driver manager (see
# flat_memory.c).
#   flat_memory.pl [EXECUTIONS [CONNECTS]]
use strict;
use warnings;
use DBI;

my $limit_kb = 4096;
my $runs = $ARGV[0] // 100000;
my $connects = $ARGV[1] // 10000;

sub resident_kb {
    open(my $status, '<', '/proc/self/status') or return -1;
    while (my $line = <$status>) {
        return $1 if $line =~ /^VmRSS:\s+(\d+)/;
    }
    return -1;
}

sub connect_kx {
    return DBI->connect('dbi:ODBC:DSN=kxeval', '', '', { RaiseError => 1, PrintError => 0 });
}

sub executions {
    my ($dbh, $count) = @_;
    for my $i (0 .. $count - 1) {
        my @row = $dbh->selectrow_array("SELECT ? + 1, {fn CONCAT('row ', {fn UCASE('x')})}", undef, $i);
        die "not ok: execution $i gave @row\n" unless $row[0] == $i + 1 && $row[1] eq 'row X';
    }
}

sub connections {
    my ($count) = @_;
    connect_kx()->disconnect for 1 .. $count;
}

my $held = connect_kx();
executions($held, $runs / 10);
connections($connects / 10);
my $before = resident_kb();
executions($held, $runs);
connections($connects);
my $after = resident_kb();
$held->disconnect;
print "resident $before kB after the warm-up, $after kB after $runs executions and $connects connects\n";
my $growth = $after - $before;
if ($before < 0 || $growth > $limit_kb) {
    print "not ok: grew by $growth kB (the limit is $limit_kb kB)\n";
    exit 1;
}
print "ok: grew by $growth kB\n";
