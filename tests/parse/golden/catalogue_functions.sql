 SELECT UCASE( name ) , SUBSTR( name, 1 , 3  ) , CHARACTER_LENGTH( name ) , PI(  ) , IFNULL( name, 'x'  )  FROM emp
