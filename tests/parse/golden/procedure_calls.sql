{ ?= call proc1(1 , 'a' )}; { call proc2}
