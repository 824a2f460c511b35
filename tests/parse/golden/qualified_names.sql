 SELECT o.c.s.t.a, o....a, c...a, s..a, t.a, "Mixed Case" FROM o.c.s.t, o...t, c..t, s.t
