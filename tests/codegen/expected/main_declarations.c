  // amount of probability to move from one state to another
  double prob;

  // the probability by which money shall be moved
  double probTransfer;

  // the amount of money which shall be moved
  double paySize;

  // the free policy fraction
  double fp_fraction;

  // the weight of the product
  double payWeight;

  // the total cashflow
  double cashflow[20][20];

  // the total reserve
  double reserve[20][20];
  double yield;
  int x,y;
  for(x=0;x<20;x++) for(y=0;y<20;y++)
    reserve[x][y]=0;

  // The probability of being premium paying active
  double p_ppa;
  double delta_ppa=0;
  double quotient_ppa=0;

  // B
  // state 0: ((alive))
  // state 1: ((dead))
  double prob_product_1_state_0=0;
  double prob_product_1_state_1=0;
  double prob_product_1_fp_state_0=1;
  double prob_product_1_fp_state_1=0;

  // A
  // state 0: ((alive (active)))
  // state 1: ((alive (disabled)))
  // state 2: ((dead))
  double prob_product_0_state_0=1;
  double prob_product_0_state_1=0;
  double prob_product_0_state_2=0;
  double prob_product_0_fp_state_0=0;
  double prob_product_0_fp_state_1=0;
  double prob_product_0_fp_state_2=0;

  // temporary probabilities
  double prob_0;
  double prob_fp_0;
  double prob_1;
  double prob_fp_1;
  double prob_2;
  double prob_fp_2;

  // transition probabilities
  double prob_alive_to_dead;
  double prob_alive_to_alive;
  double prob_dead_to_dead;
  double prob_active_to_disabled;
  double prob_active_to_active;
  double prob_disabled_to_disabled;

  // weights
  double weight_active;
  double weight_disabled;

  // derived quantities
  int start;
  int t;
