 SELECT id FROM emp WHERE (  1 = 0  AND  1 = 1 )
