-- The catalogue's functions not met in the other sessions, each once; the
-- clock functions compared with each other (one statement reads one
-- captured clock, CURRENT_TIMESTAMP(3) its first three fractional digits).
-- RAND lies in [0, 1), the same after the same seed. PI is pi in double
-- precision.
SELECT {fn ACOS(1)}, {fn ASIN(0)}, {fn ATAN(0)}, {fn ATAN2(0, 1)}, {fn COS(0)}, {fn COT(1)}, {fn SIN(0)}, {fn TAN(0)}
SELECT {fn RADIANS(180)}, {fn LOG(1)}, {fn EXP(1)}, {fn RAND(7)} = {fn RAND(7)}, {fn FLOOR({fn RAND(7)})} = 0, {fn TRUNCATE(-2.567, 2)}, {fn ABS(-2.5)}
SELECT {fn BIT_LENGTH('ab')}, {fn CHARACTER_LENGTH('abc')}, {fn CHAR_LENGTH('abcd')}, {fn OCTET_LENGTH('abcde')}, {fn SUBSTR('abcdef', 2, 2)}, {fn LCASE('MiXeD')}
SELECT {fn CURDATE()} = CURRENT_DATE, {fn CURTIME()} = CURRENT_TIME, {fn NOW()} = CURRENT_TIMESTAMP, {fn CURRENT_DATE()} = {fn CURDATE()}, {fn TIMESTAMPDIFF(SQL_TSI_FRAC_SECOND, {fn CURRENT_TIMESTAMP(3)}, {fn NOW()})} BETWEEN 0 AND 999999, {fn CURRENT_TIME(0)} = {fn CURTIME()}
SELECT {fn NOW()} > {ts '2020-01-01 00:00:00'}, {fn YEAR({fn CURDATE()})} >= 2024
SELECT {fn WEEK({d '2004-06-16'})}, {fn WEEK({d '2004-01-01'})}, {fn DAYOFMONTH({ts '2004-06-16 13:14:15'})}, {fn MINUTE({t '13:14:15'})}, {fn QUARTER({d '2004-12-31'})}
