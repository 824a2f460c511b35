 YEAR  TO  MONTH ,  DAY( 5 ) ,  HOUR ,  MINUTE( 2 ) ,  SECOND ,  SECOND  ( 6 ) ,  SECOND , ,  NULL ,  DEFAULT , , x, y
