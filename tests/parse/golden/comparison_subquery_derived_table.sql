 SELECT name FROM emp WHERE ( salary > (  SELECT  AVG( ALL salary )  FROM emp ) );  SELECT x.n FROM (  SELECT  COUNT(*)  AS n FROM emp ) x
