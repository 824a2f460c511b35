 SELECT name FROM emp WHERE name LIKE 'a!%' '!' 
