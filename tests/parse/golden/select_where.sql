 SELECT id, name FROM emp WHERE ( salary > 1000  )
