 SELECT *  FROM  emp NATURAL INNER JOIN emp2 ;  SELECT *  FROM  dept d RIGHT OUTER JOIN proj p USING ( id ) ;  SELECT *  FROM  dept d FULL OUTER JOIN proj p ON ( d.id = p.dept_id ) 
