# The reference driver through ruby-odbc, in both of its flavours: `odbc`
# (narrow calls) and `odbc_utf8` (the wide calls, text as UTF-8), chosen by
# the first argument. Prints one line per check; exits 1 when any failed.
flavour = ARGV[0] || "odbc"
require flavour

$failed = 0
def check(what, got, expected)
  if got == expected
    puts "ok - #{flavour_name} #{what}"
  else
    puts "not ok - #{flavour_name} #{what}: got #{got.inspect}, expected #{expected.inspect}"
    $failed += 1
  end
end

def flavour_name
  ARGV[0] || "odbc"
end

ODBC.connect("kxeval") do |db|
  check("connects", db.connected?, true)
  db.autocommit = true
  check("autocommit", db.autocommit, true)

  st = db.prepare("SELECT ? + 1, {fn UCASE(?)}")
  st.execute(41, "abc")
  check("a prepared statement with markers", st.fetch, [42, "ABC"])
  check("column names", st.columns(true).map(&:name).size, 2)
  st.drop

  st = db.run("SELECT n FROM SERIES(1, 5) AS s(n) WHERE n > 2")
  check("rows", st.fetch_all, [[3], [4], [5]])
  st.drop

  st = db.run("SELECT CAST(9223372036854775807 AS BIGINT), 1.5E0, CAST('12.50' AS NUMERIC(10,2)), NULL")
  row = st.fetch
  check("bigint", row[0].to_s, "9223372036854775807")
  check("double", row[1], 1.5)
  check("numeric", row[2].to_s, "12.50")
  check("null", row[3], nil)
  st.drop

  st = db.run("SELECT {d '2004-06-16'}, {ts '2004-06-16 13:14:15'}")
  row = st.fetch
  check("date", [row[0].year, row[0].month, row[0].day], [2004, 6, 16])
  check("timestamp", [row[1].hour, row[1].minute, row[1].second], [13, 14, 15])
  st.drop

  st = db.run("SELECT {fn REPEAT('ab', 1000)}")
  check("a long text", st.fetch[0].size, 2000)
  st.drop

  if flavour_name == "odbc_utf8"
    st = db.prepare("SELECT {fn LCASE(?)}, {fn LENGTH(?)}")
    st.execute("ÉTÉ ☃", "é€😀")
    check("Unicode text", st.fetch, ["été ☃", 3])
    st.drop
  end

  begin
    st = db.run("SELECT 1 / 0")
    st.fetch
    check("division by zero", "no error", "22012")
  rescue ODBC::Error => e
    check("division by zero", e.message[0, 5], "22012")
  end

  [["primary keys", db.primary_keys("t")], ["indexes", db.indexes("t")], ["tables", db.tables]].each do |what, st|
    check(what, st.fetch_all, nil)
    st.drop
  end
  types = db.types
  check("types listed", types.fetch_all.size > 5, true)
  types.drop

  st = db.prepare("SELECT ? || 'y'")
  ok = (1..1000).all? do |i|
    st.execute("x#{i}")
    st.fetch == ["x#{i}y"]
  end
  check("1000 executions", ok, true)
  st.drop
end
exit($failed.zero? ? 0 : 1)
