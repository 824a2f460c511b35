 SELECT 42 , 2.5, 3, 'O''Brien 100%' , X'0AFF',  NULL ,  ? , -0.125, 1234567.25 FROM emp
