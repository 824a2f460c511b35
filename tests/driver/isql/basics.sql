-- Connecting by data source name, plain expressions, a row source, and
-- errors after which the connection goes on working. isql is an ODBC 2
-- application: it sees the ODBC 2 SQLSTATEs (37000 for 42000, S0022 for
-- 42S22).
SELECT 1 + 2 AS three, 'abc' AS text, NULL AS nothing
SELECT 7 / 2, 7.0 / 2, -7 / 2, 2 * 3 - 1
SELECT 'O''Brien', 'a' || 'b' || 'c', 'x' || NULL
SELECT a, b FROM (VALUES (1, 'x'), (2, 'y'), (3, NULL)) AS t(a, b) WHERE a > 1 ORDER BY a DESC
SELECT n * n AS square FROM SERIES(1, 4) AS s(n)
SELECT {fn DATABASE()}, USER
SELECT 1 +
SELECT nosuchcolumn
SELECT {fn UCASE('a', 'b')}
SELECT 1 / 0
SELECT 'still connected'
