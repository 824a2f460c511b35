 SELECT ALL e.name AS emp_name, d.* FROM emp e, dept d WHERE ( ( e.dept_id = d.id ) AND ( d.name <> 'Sales'  ))
