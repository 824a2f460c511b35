SELECT {fn UCASE('libkxsupp')} AS string_fn, {fn SOUNDEX('Tymczak')} AS soundex, {fn SQRT(2.25)} AS numeric_fn, {fn DAYNAME({d '2004-06-16'})} AS date_fn, {fn DATABASE()} AS system_fn
SELECT 12345678901234567890123456789012345678 + 1 AS exact_38_digits, 99999999999999999999999999999999999999 - 1 AS minus_one
SELECT {ts '2004-06-16 23:00:00'} + INTERVAL '2:30' HOUR TO MINUTE AS later, INTERVAL '1-6' YEAR TO MONTH + INTERVAL '8' MONTH AS months, {d '2004-03-01'} - INTERVAL '1' DAY AS leap_day
SELECT {fn TIMESTAMPDIFF(SQL_TSI_MINUTE, {ts '2004-06-16 08:00:00'}, {ts '2004-06-17 09:30:00'})} AS minutes_between
SELECT n, {fn MOD(n, 3)} AS n_mod_3, CASE WHEN n > 2 THEN 'big' ELSE 'small' END AS size FROM SERIES(1, 4) AS s(n) WHERE n <> 2 ORDER BY n DESC
SELECT 1 / 0
SELECT {fn UCASE('a', 'b')}
