( ( e.dept_id(*)  = d.id(A)  ) AND ( e.id = 5  ))
