-- SQL-92 shapes inside the ODBC escape, CONVERT, NULLIF and COALESCE, IN,
-- ORDER BY a position and an alias, SERIES with a date column, and the
-- errors of malformed row sources.
SELECT {fn EXTRACT(MONTH FROM {d '2004-06-16'})}, {fn POSITION('b' IN 'abc')}, {fn SUBSTRING('abcdef' FROM 4)}
SELECT {fn CONVERT('12', SQL_INTEGER)} * 2, {fn CONVERT(3.75, SQL_NUMERIC)}, {fn CONVERT({ts '2004-06-16 13:14:15'}, SQL_DATE)}
SELECT NULLIF(1, 1), NULLIF(1, 2), COALESCE(NULL, NULL, 'third'), {fn IFNULL(NULL, NULL)}
SELECT c1, c2 FROM (VALUES (2, 'b'), (1, 'a'), (3, 'c')) ORDER BY 2 DESC
SELECT c2 AS letter FROM (VALUES (2, 'b'), (1, 'a')) ORDER BY letter
SELECT n, d, {fn DAYNAME(d)} FROM SERIES(1, 3, {d '2004-02-28'}) AS s(n, d) WHERE n IN (1, 3)
SELECT {fn CONVERT(1, 'x')}
SELECT a FROM (VALUES (1), (2, 3)) AS t(a)
SELECT n FROM SERIES(1, NULL) AS s(n)
SELECT 'after the errors'
