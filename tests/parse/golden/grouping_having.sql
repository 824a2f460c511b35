 SELECT dept_id,  COUNT(*)  AS n,  SUM( ALL salary )  FROM emp GROUP BY dept_id HAVING (  COUNT(*)  > 2  ) ORDER BY dept_id ASC 
