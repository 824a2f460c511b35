 SELECT dept_id,  COUNT(*)  FROM emp GROUP BY dept_id ASC , name DESC
