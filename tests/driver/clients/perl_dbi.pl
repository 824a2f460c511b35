#!/usr/bin/perl
# The reference driver through Perl DBI and DBD::ODBC, as a Perl
# application uses it: connect through the driver manager, metadata,
# every type both ways, long data, errors, catalog calls and parameter
# arrays (execute_array). Exits non-zero on the first failed check.
use strict;
use warnings;
use utf8;
use DBI;
use Test::More;

my $dbh = DBI->connect('dbi:ODBC:DSN=kxeval', '', '',
                       { RaiseError => 1, PrintError => 0, AutoCommit => 1, LongReadLen => 1 << 20,
                         odbc_utf8_on => 1 });  # the driver's narrow text is UTF-8
ok($dbh, 'connects through the driver manager');
like($dbh->get_info(6), qr/kxevaldrv/, 'SQL_DRIVER_NAME names the driver');

# types both ways, through placeholders
my $sth = $dbh->prepare('SELECT ? + 1, CAST(? AS DOUBLE) * 2, {fn UCASE(?)}, CAST(? AS NUMERIC(10,2))');
$sth->execute(41, 1.25, 'abc', '12.5');
my @row = $sth->fetchrow_array;
is_deeply(\@row, [42, 2.5, 'ABC', '12.50'], 'numbers and text through placeholders');
is_deeply($sth->{NAME_uc}, [map { uc } @{$sth->{NAME}}], 'column names');
is(scalar @{$sth->{TYPE}}, 4, 'four described types');

my ($d, $t, $ts) = $dbh->selectrow_array(
    q{SELECT {d '2004-06-16'}, {t '13:14:15'}, {ts '2004-06-16 13:14:15.25'}});
is($d, '2004-06-16', 'date');
is($t, '13:14:15', 'time');
like($ts, qr/^2004-06-16 13:14:15\.25/, 'timestamp with its fraction');

my ($big) = $dbh->selectrow_array('SELECT CAST(9223372036854775807 AS BIGINT)');
is($big, '9223372036854775807', 'bigint');
my ($null) = $dbh->selectrow_array('SELECT NULL');
ok(!defined $null, 'NULL is undef');

# Unicode text both ways (odbc_utf8 / wide calls)
my ($u) = $dbh->selectrow_array('SELECT {fn LCASE(?)}', undef, "ÉTÉ ☃");
is($u, "été ☃", 'Unicode text');
my ($len) = $dbh->selectrow_array('SELECT {fn LENGTH(?)}', undef, "é€😀");
is($len, 3, 'lengths in characters');

# long data past the first buffer
my ($long) = $dbh->selectrow_array(q{SELECT {fn REPEAT('ab', 50000)}});
is(length $long, 100000, 'a long text read whole');

# rows and ORDER BY
my $rows = $dbh->selectcol_arrayref(
    'SELECT a FROM (VALUES (3), (1), (2)) AS t(a) WHERE a > ? ORDER BY a DESC', undef, 1);
is_deeply($rows, [3, 2], 'a filtered, sorted row source');

# errors carry the SQLSTATE
eval { $dbh->selectrow_array('SELECT 1 / 0') };
is($dbh->state, '22012', 'division by zero is 22012');
eval { $dbh->do('SELEC 1') };
is($dbh->state, '42000', 'a syntax error is 42000');

# catalog calls answer with their columns and no rows
my $pk = $dbh->primary_key_info(undef, undef, 't');
ok($pk, 'primary_key_info');
is(scalar @{$pk->fetchall_arrayref}, 0, 'no primary keys');
my $st = $dbh->statistics_info(undef, undef, 't', 0, 0);
ok($st, 'statistics_info');
my $ti = $dbh->type_info_all;
ok(@$ti > 5, 'type_info_all lists the types');
my $tables = $dbh->table_info(undef, undef, '%', 'TABLE');
ok($tables, 'table_info');

# parameter arrays
my $arr = $dbh->prepare('SELECT ? + 1');
my @status;
my $tuples = $arr->execute_array({ ArrayTupleStatus => \@status }, [1, 2, 3]);
is($tuples, 3, 'execute_array runs every set');

# many executions: memory stays flat (the driver manager and driver agree)
my $repeat = $dbh->prepare('SELECT ? || ?');
for my $i (1 .. 2000) {
    $repeat->execute("x$i", 'y');
    my ($v) = $repeat->fetchrow_array;
    die "wrong answer $v" unless $v eq "x${i}y";
}
pass('2000 executions');

$_->finish for grep { defined } ($sth, $arr, $repeat, $pk, $st, $tables);
$dbh->disconnect;
done_testing();
