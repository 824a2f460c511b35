 SELECT name FROM emp WHERE ( ( salary >=  ALL  (  SELECT salary FROM emp )  OR id NOT =  ANY  (  SELECT id FROM dept ) ) AND id <>  SOME  (  SELECT dept_id FROM proj ) )
