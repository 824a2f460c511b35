CREATE VIEW v_names ( n, d )  AS  SELECT name, dept_id FROM emp; CREATE VIEW v_all AS  SELECT *  FROM dept
