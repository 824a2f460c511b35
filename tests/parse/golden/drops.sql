DROP TABLE old_items; DROP INDEX emp_name_idx; DROP VIEW v_old
