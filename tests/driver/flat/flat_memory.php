<?php
// PHP's odbc_* and PDO_ODBC: the process's memory stays flat over 100,000
// executions and 10,000 connections through the driver manager (see
// flat_memory.c). Half of each count goes through each interface.
//   php flat_memory.php [EXECUTIONS [CONNECTS]]
$limit_kb = 4096;
$runs = intval($argv[1] ?? 100000);
$connects = intval($argv[2] ?? 10000);

function resident_kb() {
    foreach (file('/proc/self/status') as $line)
        if (preg_match('/^VmRSS:\s+(\d+)/', $line, $m))
            return intval($m[1]);
    return -1;
}

function fail($what) {
    echo "not ok: $what\n";
    exit(1);
}

const QUERY = "SELECT ? + 1, {fn CONCAT('row ', {fn UCASE('x')})}";

function executions($odbc, $pdo, $count) {
    for ($i = 0; $i < $count / 2; $i++) {
        $stmt = odbc_prepare($odbc, QUERY);
        if (!$stmt || !odbc_execute($stmt, [$i]))
            fail("odbc_execute: " . odbc_errormsg($odbc));
        $row = array_values(odbc_fetch_array($stmt) ?: []);
        if (count($row) != 2 || intval($row[0]) !== $i + 1 || $row[1] !== 'row X')
            fail("odbc execution $i gave " . json_encode($row));
        odbc_free_result($stmt);
        $p = $pdo->prepare(QUERY);
        $p->execute([$i]);
        $row = $p->fetch(PDO::FETCH_NUM);
        if (intval($row[0]) !== $i + 1 || $row[1] !== 'row X')
            fail("PDO execution $i gave " . json_encode($row));
        $p = null;
    }
}

function connections($count) {
    for ($i = 0; $i < $count / 2; $i++) {
        $c = odbc_connect('kxeval', '', '');
        if (!$c)
            fail("odbc_connect: " . odbc_errormsg());
        odbc_close($c);
        $p = new PDO('odbc:kxeval');
        $p = null;
    }
}

$odbc = odbc_connect('kxeval', '', '') or fail("odbc_connect: " . odbc_errormsg());
$pdo = new PDO('odbc:kxeval', null, null, [PDO::ATTR_ERRMODE => PDO::ERRMODE_EXCEPTION]);
executions($odbc, $pdo, $runs / 10);
connections($connects / 10);
gc_collect_cycles();
$before = resident_kb();
executions($odbc, $pdo, $runs);
connections($connects);
gc_collect_cycles();
$after = resident_kb();
odbc_close($odbc);
$pdo = null;
echo "resident $before kB after the warm-up, $after kB after $runs executions and $connects connects\n";
$growth = $after - $before;
if ($before < 0 || $growth > $limit_kb)
    fail("grew by $growth kB (the limit is $limit_kb kB)");
echo "ok: grew by $growth kB\n";
