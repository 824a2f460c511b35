 SELECT id FROM emp WHERE (  (0=0)  AND ( id > 1  ))
