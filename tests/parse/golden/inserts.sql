INSERT INTO emp ( id, name )  VALUES ( 7 , 'Ann'  ) ; INSERT INTO emp ( id, name )  SELECT id, name FROM emp2; INSERT INTO dept DEFAULT VALUES 
