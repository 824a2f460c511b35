 SELECT name FROM emp WHERE ( dept_id IN  (  SELECT id FROM dept WHERE ( budget > 100  )) AND  NOT EXISTS (  SELECT *  FROM proj WHERE ( proj.dept_id = emp.dept_id ) ) )
