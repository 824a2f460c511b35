 SELECT id FROM emp WHERE ( ( name LIKE 'A%'  AND manager_id IS NOT NULL) AND ( name NOT  LIKE 'B_'  OR hired IS NULL))
