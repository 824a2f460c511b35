DELETE FROM emp WHERE ( salary < 100  ); DELETE FROM proj
