UPDATE emp SET salary = 5000 , name = NULL , dept_id = (  SELECT id FROM dept WHERE ( name = 'Sales'  ) ) WHERE ( id = 7  )
