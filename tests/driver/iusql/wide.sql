-- unixODBC's iusql, a Unicode application: it connects with
-- SQLDriverConnectW, prepares with SQLPrepareW, reads labels with
-- SQLColAttributeW, data as SQL_C_WCHAR, catalogues with SQLTablesW and
-- SQLColumnsW and messages with SQLErrorW, and the driver manager hands
-- these calls to the driver's W entry points (the messages it reads with
-- the driver's SQLGetDiagRecW). iusql widens each octet of a line to
-- one SQLWCHAR and narrows each SQLWCHAR it reads to its low octet: UTF-8
-- text, of the BMP or not, goes through the W functions and comes back octet
-- for octet, in data, labels and messages. A character the driver makes
-- outside the BMP (CHAR(119070), the G clef) is read as its surrogate pair,
-- D834 DD1E, which iusql narrows to 34 1E ("4" and a control character).
SELECT 'café' AS "名前", 'x𝄞y' AS "𝄞", 'straße' || '·' || 'Ω' AS joined
SELECT a, b FROM (VALUES (1, 'ü'), (2, '😀'), (3, NULL)) AS t(a, b) ORDER BY a
SELECT {fn UCASE('abc')}, {fn DATABASE()}, USER
SELECT {fn CHAR(119070)} AS clef, {fn CHAR(65)} AS a
SELECT "n𝄞such"
SELECT {fn UCASE('a', '𝄞')}
help
help t𝄞
SELECT 'still connected' AS "état"
