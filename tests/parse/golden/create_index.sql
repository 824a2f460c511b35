CREATE UNIQUE INDEX emp_name_dept ON emp ( name, dept_id ) ; CREATE INDEX proj_title ON proj ( title ) 
