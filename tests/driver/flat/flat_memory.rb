# ruby-odbc (odbc or odbc_utf8): the process's memory stays flat over
# 100,000 executions and 10,000 connections through the driver manager (see
# flat_memory.c).
#   ruby flat_memory.rb odbc|odbc_utf8 [EXECUTIONS [CONNECTS]]
flavour = ARGV[0] || 'odbc'
require flavour

LIMIT_KB = 4096
runs = (ARGV[1] || 100_000).to_i
connects = (ARGV[2] || 10_000).to_i

def resident_kb
  File.foreach('/proc/self/status') { |line| return line.split[1].to_i if line.start_with?('VmRSS:') }
  -1
end

def fail(what)
  puts "not ok: #{what}"
  exit 1
end

QUERY = "SELECT ? + 1, {fn CONCAT('row ', {fn UCASE('x')})}".freeze

def executions(db, count)
  count.times do |i|
    stmt = db.prepare(QUERY)
    stmt.execute(i)
    row = stmt.fetch
    stmt.drop
    fail("execution #{i} gave #{row.inspect}") unless row[0].to_i == i + 1 && row[1] == 'row X'
  end
end

def connections(count)
  count.times { ODBC.connect('kxeval').disconnect }
end

held = ODBC.connect('kxeval')
executions(held, runs / 10)
connections(connects / 10)
GC.start
before = resident_kb
executions(held, runs)
connections(connects)
GC.start
after = resident_kb
held.disconnect
puts "resident #{before} kB after the warm-up, #{after} kB after #{runs} executions and #{connects} connects"
growth = after - before
fail("grew by #{growth} kB (the limit is #{LIMIT_KB} kB)") if before < 0 || growth > LIMIT_KB
puts "ok: grew by #{growth} kB"
