-- The scalar functions of each family in the ODBC escape form and the
-- SQL-92 forms, with their argument classes met by conversion.
SELECT {fn UCASE('Straße')}, {fn LCASE('ABC')}, {fn LENGTH('abc  ')}, {fn LEFT('abcdef', 2)}, {fn RIGHT('abcdef', 2)}
SELECT {fn SUBSTRING('abcdef', 2, 3)}, SUBSTRING('abcdef' FROM 3), SUBSTRING('abcdef' FROM 2 FOR 2), POSITION('cd' IN 'abcdef'), {fn LOCATE('b', 'abcabc', 3)}
SELECT {fn LTRIM('  x')}, {fn RTRIM('x  ')}, {fn REPEAT('ab', 3)}, {fn SPACE(2)} || '|', {fn REPLACE('banana', 'an', 'AN')}
SELECT {fn INSERT('abcdef', 2, 3, 'XY')}, {fn CONCAT('con', 'cat')}, {fn ASCII('A')}, {fn CHAR(66)}, {fn SOUNDEX('Robert')}, {fn DIFFERENCE('Robert', 'Rupert')}
SELECT CHAR_LENGTH('hello'), CHARACTER_LENGTH('hi'), OCTET_LENGTH('abc'), BIT_LENGTH('ab'), UPPER('up'), LOWER('DOWN')
SELECT {fn ABS(-5)}, {fn MOD(17, 5)}, {fn SIGN(-2.5)}, {fn CEILING(2.1)}, {fn FLOOR(-2.1)}, {fn POWER(2, 10)}
SELECT {fn SQRT(16)}, {fn ROUND(2.567, 2)}, {fn TRUNCATE(2.567, 1)}, {fn DEGREES({fn PI()})}, {fn EXP(0)}, {fn LOG10(1000)}
SELECT {fn YEAR({d '2004-06-16'})}, {fn MONTH({d '2004-06-16'})}, {fn DAYOFMONTH({d '2004-06-16'})}, {fn DAYOFWEEK({d '2004-06-16'})}, {fn DAYOFYEAR({d '2004-02-01'})}, {fn QUARTER({d '2004-06-16'})}
SELECT {fn DAYNAME({d '2004-06-16'})}, {fn MONTHNAME({d '2004-06-16'})}, {fn HOUR({t '13:14:15'})}, {fn MINUTE({t '13:14:15'})}, {fn SECOND({ts '2004-06-16 13:14:15'})}
SELECT {fn TIMESTAMPADD(SQL_TSI_MONTH, 1, {ts '2004-01-31 10:00:00'})}, {fn TIMESTAMPADD(SQL_TSI_DAY, 1, {d '2004-02-28'})}, {fn TIMESTAMPDIFF(SQL_TSI_DAY, {d '2004-01-01'}, {d '2004-03-01'})}
SELECT EXTRACT(YEAR FROM {ts '2004-06-16 13:14:15'}), EXTRACT(MINUTE FROM {ts '2004-06-16 13:14:15'}), EXTRACT(DAY FROM INTERVAL '3 04:05:06' DAY TO SECOND)
SELECT {fn DATABASE()}, {fn USER()}, {fn IFNULL(NULL, 'fallback')}, {fn IFNULL('first', 'second')}
SELECT {fn UCASE(42)}, {fn LENGTH(12345)}, {fn ABS('-3')}
SELECT {fn LOG(0)}
SELECT {fn MOD(1, 0)}
SELECT EXTRACT(DAY FROM INTERVAL '1-06' YEAR TO MONTH)
SELECT {fn NOSUCH(1)}
