 SELECT e.name FROM  emp e LEFT OUTER JOIN dept d ON ( e.dept_id = d.id )  ORDER BY e.name ASC , d.id DESC 
