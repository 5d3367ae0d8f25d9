no effect named '_common'
