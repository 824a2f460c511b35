 SELECT id FROM emp WHERE ( id IN  ( 1 , 2 , 3 ) OR name NOT  IN  ( 'a' , 'b' ))
