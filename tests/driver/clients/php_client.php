<?php
// The reference driver through PHP's odbc_* functions and PDO_ODBC with
// their default settings (PDO's cursor setting lets the driver manager put
// its cursor library in front of a driver that cannot scroll; this driver
// scrolls, so none is loaded). Prints one line per check; exits 1 on the
// first failed check.
$failed = 0;
function check($what, $got, $expected)
{
    global $failed;
    if ($got === $expected) {
        echo "ok - $what\n";
        return;
    }
    echo "not ok - $what: got ", var_export($got, true), ", expected ", var_export($expected, true), "\n";
    $failed++;
}

// ---- odbc_* ----
$c = odbc_connect("kxeval", "", "");
check("odbc_connect", $c !== false, true);
$r = odbc_prepare($c, "SELECT ? * 2, {fn UCASE(?)}");
check("odbc_prepare of a statement with markers", $r !== false, true);
check("odbc_execute", odbc_execute($r, [21, "abc"]), true);
check("odbc_fetch_row", odbc_fetch_row($r), true);
check("first column", odbc_result($r, 1), "42");
check("second column", odbc_result($r, 2), "ABC");
check("odbc_field_name", odbc_field_name($r, 2) !== false, true);

$r = odbc_exec($c, "SELECT n, {fn REPEAT('x', n)} FROM SERIES(1, 5) AS s(n) ORDER BY n DESC");
$rows = [];
while (odbc_fetch_row($r))
    $rows[] = odbc_result($r, 1) . ":" . odbc_result($r, 2);
check("rows in order", $rows, ["5:xxxxx", "4:xxxx", "3:xxx", "2:xx", "1:x"]);
check("odbc_fetch_row with a row number", odbc_fetch_row($r, 2) && odbc_result($r, 1) === "4", true);

$r = odbc_exec($c, "SELECT {d '2004-06-16'}, {ts '2004-06-16 13:14:15.5'}, CAST('12.50' AS NUMERIC(10,2)), NULL");
odbc_fetch_row($r);
check("date", odbc_result($r, 1), "2004-06-16");
check("timestamp", odbc_result($r, 2), "2004-06-16 13:14:15.5");
check("numeric at its scale", odbc_result($r, 3), "12.50");
check("null", odbc_result($r, 4), null);

odbc_longreadlen(odbc_exec($c, "SELECT 1"), 0);
$r = odbc_exec($c, "SELECT {fn REPEAT('ab', 5000)}");
odbc_longreadlen($r, 100000);
odbc_fetch_row($r);
check("a long text", strlen(odbc_result($r, 1)), 10000);

$r = @odbc_exec($c, "SELECT 1 / 0");
$fetched = $r !== false ? @odbc_fetch_row($r) : false;
check("division by zero fails", $fetched, false);
check("its state", odbc_error($c), "22012");

check("odbc_primarykeys", odbc_primarykeys($c, "", "", "t") !== false, true);
check("odbc_tables", odbc_tables($c) !== false, true);
check("odbc_columns", odbc_columns($c) !== false, true);
check("odbc_autocommit", odbc_autocommit($c, true), true);
odbc_close($c);

// ---- PDO ----
$db = new PDO("odbc:kxeval");
$db->setAttribute(PDO::ATTR_ERRMODE, PDO::ERRMODE_EXCEPTION);
$st = $db->prepare("SELECT ? + 1, {fn LCASE(?)}, {fn LENGTH(?)}");
$st->execute([41, "ÉTÉ", "é€😀"]);
check("PDO prepared statement with markers", $st->fetchAll(PDO::FETCH_NUM), [["42", "été", "3"]]);
$st = $db->query("SELECT n FROM SERIES(1, 3) AS s(n)");
check("PDO query", $st->fetchAll(PDO::FETCH_COLUMN), ["1", "2", "3"]);
$st = $db->prepare("SELECT a FROM (VALUES (1), (2), (3)) AS t(a) WHERE a >= ?");
for ($i = 0; $i < 1000; $i++) {
    $st->execute([2]);
    $got = $st->fetchAll(PDO::FETCH_COLUMN);
    if ($got !== ["2", "3"]) {
        check("PDO repeated executions", $got, ["2", "3"]);
        break;
    }
}
check("1000 PDO executions", $i, 1000);
try {
    $db->query("SELECT CAST('x' AS INTEGER)")->fetchAll();
    check("PDO error", "no error", "22018");
} catch (PDOException $e) {
    check("PDO error", $e->errorInfo[0], "22018");
}
$st = $db->prepare("SELECT ?", [PDO::ATTR_CURSOR => PDO::CURSOR_SCROLL]);
$st->execute(["scroll"]);
check("PDO scrollable cursor", $st->fetchColumn(), "scroll");

exit($failed == 0 ? 0 : 1);
