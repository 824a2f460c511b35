 SELECT main.emp.id, "name" FROM main.emp
