 SELECT e.name, d.name AS dname FROM  emp e INNER JOIN dept d ON ( e.dept_id = d.id ) 
